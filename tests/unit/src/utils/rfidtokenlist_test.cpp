#include "src/utils/rfidtokenlist.h"

#include "platform/json/jsonutil.h"

#include <json/value.h>

#include <functional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/capturedlog.h"
#include "tests/support/requestfailure.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

const std::string NotFound = "404 Not Found";
const std::string Corrupt = "500 \"Internal RFID token list format is corrupt\"";
const std::string Full = "400 \"Maximum number of RFID tokens reached\"";
const std::string LongUid = "400 \"Token uid is too long (max: 100 characters)\"";
const std::string LongDescription = "400 \"Token description is too long (max: 250 characters)\"";
const std::string SameUid = R"(409 {"Reason":"RfidTokenUid"})";
const std::string SameDescription = R"(409 {"Reason":"RfidTokenDescription"})";

Json::Value Parse(const std::string& array)
{
    return JsonUtil::ParseObject("{\"Tokens\":" + array + "}")["Tokens"];
}

CRfidTokenList ListOf(const std::string& array)
{
    return CRfidTokenList(Parse(array));
}

std::string Text(const CRfidTokenList& list)
{
    return JsonUtil::WriteUnstyled(list.GetTokens());
}

/// A token as JSON text.
std::string Token(const std::string& uid, const std::string& description)
{
    return R"({"RfidTokenDescription":")" + description + R"(","RfidTokenUid":")" + uid + "\"}";
}

/// Tokens 0 to @p count - 1.
CRfidTokenList ListOfSize(int count)
{
    CRfidTokenList list(Json::arrayValue);
    for (int i = 0; i < count; ++i)
    {
        list.AddToken("uid" + std::to_string(i), "description " + std::to_string(i));
    }
    return list;
}

const std::string ThreeTokens =
    "[" + Token("1", "one") + "," + Token("2", "two") + "," + Token("3", "three") + "]";

// ---------------------------------------------------------------------------------------------- Look-up

TEST(RfidTokenList, FindsTokensByEitherMember)
{
    const CRfidTokenList list = ListOf(ThreeTokens);

    EXPECT_EQ(list.FindTokenIndex("1", "RfidTokenUid"), 0U);
    EXPECT_EQ(list.FindTokenIndex("3", "RfidTokenUid"), 2U);
    EXPECT_EQ(list.FindTokenIndex("two", "RfidTokenDescription"), 1U);
    EXPECT_EQ(FailureOf([&] { list.FindTokenIndex("two", "RfidTokenUid"); }), NotFound);
}

TEST(RfidTokenList, FirstOfSeveralMatchesIsFound)
{
    const CRfidTokenList list = ListOf("[" + Token("1", "same") + "," + Token("2", "same") + "]");

    EXPECT_EQ(list.FindTokenIndex("same", "RfidTokenDescription"), 0U);
}

TEST(RfidTokenList, GivesTheTokenItself)
{
    CRfidTokenList list = ListOf(ThreeTokens);

    EXPECT_EQ(JsonUtil::WriteUnstyled(list.GetToken("2")), Token("2", "two"));
    EXPECT_EQ(&list.GetToken("2"), &list.GetTokens()[1]);
    EXPECT_EQ(FailureOf([&] { list.GetToken("4"); }), NotFound);
}

TEST(RfidTokenList, UidsThatDifferInCaseOnlyAreDifferentTokens)
{
    CRfidTokenList list(Json::arrayValue);
    list.AddToken("abcd", "small");
    list.AddToken("ABCD", "large");
    list.AddToken("abcD", "Small");

    EXPECT_EQ(list.GetToken("ABCD")["RfidTokenDescription"], "large");
    list.RemoveToken("abcd");
    EXPECT_EQ(FailureOf([&] { list.GetToken("abcd"); }), NotFound);
    EXPECT_EQ(list.GetTokens().size(), 2U);
}

TEST(RfidTokenList, UidsAreComparedOverTheirWholeLength)
{
    CRfidTokenList list(Json::arrayValue);
    const std::string withZero("ab\0c", 4);
    list.AddToken("ab", "short");
    list.AddToken(withZero, "with a zero byte");
    list.AddToken("abc", "long");

    EXPECT_EQ(list.GetToken(withZero)["RfidTokenDescription"], "with a zero byte");
    EXPECT_EQ(list.GetToken("ab")["RfidTokenDescription"], "short");
    EXPECT_EQ(FailureOf([&] { list.GetToken(std::string("ab\0", 3)); }), NotFound);
    EXPECT_EQ(FailureOf([&] { list.GetToken("a"); }), NotFound);
}

// ------------------------------------------------------------------------------------------------ Adding

TEST(RfidTokenList, TokensStandInTheOrderOfAdding)
{
    CRfidTokenList list(Json::arrayValue);
    list.AddToken("2", "two");
    list.AddToken("1", "one");
    list.AddToken("3", "");

    EXPECT_EQ(Text(list), "[" + Token("2", "two") + "," + Token("1", "one") + "," + Token("3", "") + "]");
}

TEST(RfidTokenList, AddingLogsThatThereIsNoConflict)
{
    CRfidTokenList list = ListOf(ThreeTokens);
    const CCapturedLog log(Log::ELogLevel::Debug);

    list.AddToken("4", "four");

    using Line = CCapturedLog::SLine;
    EXPECT_THAT(log.Messages(),
                ElementsAre(Line{Log::ELogLevel::Debug, "Success, no conflicting token found with uid '4'."},
                            Line{Log::ELogLevel::Debug,
                                 "Success, no conflicting token found with description 'four'."}));
}

TEST(RfidTokenList, KnownUidIsAConflictBeforeTheDescriptionIsLookedAt)
{
    CRfidTokenList list = ListOf(ThreeTokens);
    const CCapturedLog log(Log::ELogLevel::Debug);

    EXPECT_EQ(FailureOf([&] { list.AddToken("2", "three"); }), SameUid);

    using Line = CCapturedLog::SLine;
    EXPECT_THAT(log.Messages(),
                ElementsAre(Line{Log::ELogLevel::Error,
                                 "Token to add contains a conflicting UID. Returning error status."}));
    EXPECT_EQ(Text(list), ThreeTokens);
}

TEST(RfidTokenList, KnownDescriptionIsAConflict)
{
    CRfidTokenList list = ListOf(ThreeTokens);
    const CCapturedLog log(Log::ELogLevel::Debug);

    EXPECT_EQ(FailureOf([&] { list.AddToken("4", "three"); }), SameDescription);

    using Line = CCapturedLog::SLine;
    EXPECT_THAT(
        log.Messages(),
        ElementsAre(Line{Log::ELogLevel::Debug, "Success, no conflicting token found with uid '4'."},
                    Line{Log::ELogLevel::Error,
                         "Token to add contains a conflicting description. Returning error status."}));
    EXPECT_EQ(Text(list), ThreeTokens);
}

TEST(RfidTokenList, SecondTokenWithoutADescriptionIsAConflict)
{
    CRfidTokenList list(Json::arrayValue);
    list.AddToken("1", "");

    EXPECT_EQ(FailureOf([&] { list.AddToken("2", ""); }), SameDescription);
    EXPECT_EQ(list.GetTokens().size(), 1U);
}

TEST(RfidTokenList, UidMayBeAnotherTokensDescription)
{
    CRfidTokenList list = ListOf(ThreeTokens);

    list.AddToken("one", "1");

    EXPECT_EQ(list.GetTokens().size(), 4U);
}

// ------------------------------------------------------------------------------------------------ Limits

TEST(RfidTokenList, HundredTokensFitAndNoMore)
{
    CRfidTokenList list = ListOfSize(99);

    list.AddToken("the 100th", "the last");

    EXPECT_EQ(list.GetTokens().size(), 100U);
    EXPECT_EQ(FailureOf([&] { list.AddToken("the 101st", "too many"); }), Full);
    EXPECT_EQ(list.GetTokens().size(), 100U);
}

TEST(RfidTokenList, FullListIsToldBeforeAllElse)
{
    CRfidTokenList list = ListOfSize(100);

    EXPECT_EQ(FailureOf([&] { list.AddToken(std::string(101, 'u'), std::string(251, 'd')); }), Full);
    EXPECT_EQ(FailureOf([&] { list.AddToken("uid1", "description 1"); }), Full);
}

TEST(RfidTokenList, MoreTokensThanFitAreKeptButNotAddedTo)
{
    Json::Value tokens = ListOfSize(100).GetTokens();
    tokens.append(Parse(Token("extra", "extra")));
    CRfidTokenList list(tokens);

    EXPECT_EQ(FailureOf([&] { list.AddToken("new", "new"); }), Full);
    list.UpdateDescription("extra", "changed");
    list.RemoveToken("extra");
    EXPECT_EQ(FailureOf([&] { list.AddToken("new", "new"); }), Full);
    list.RemoveToken("uid0");
    list.AddToken("new", "new");
}

TEST(RfidTokenList, RemovalMakesRoom)
{
    CRfidTokenList list = ListOfSize(100);

    list.RemoveToken("uid50");
    list.AddToken("new", "new");

    EXPECT_EQ(list.FindTokenIndex("new", "RfidTokenUid"), 99U);
}

TEST(RfidTokenList, LongestUidAndDescriptionAreTaken)
{
    const std::string uid(100, 'u');
    const std::string description(250, 'd');
    CRfidTokenList list(Json::arrayValue);

    list.AddToken(uid, description);
    list.UpdateDescription(uid, std::string(250, 'e'));

    EXPECT_EQ(Text(list), "[" + Token(uid, std::string(250, 'e')) + "]");
}

TEST(RfidTokenList, LengthsCountBytes)
{
    const auto umlauts = [](int count)
    {
        std::string text;
        for (int i = 0; i < count; ++i)
        {
            text += "\xc3\xa4";
        }
        return text;
    };
    CRfidTokenList list(Json::arrayValue);

    list.AddToken(umlauts(50), umlauts(125));

    EXPECT_EQ(FailureOf([&] { list.AddToken(umlauts(50) + "u", "d"); }), LongUid);
    EXPECT_EQ(FailureOf([&] { list.AddToken("u", umlauts(125) + "d"); }), LongDescription);
    EXPECT_EQ(FailureOf([&] { list.UpdateDescription(umlauts(50), umlauts(125) + "d"); }), LongDescription);
}

TEST(RfidTokenList, LongUidIsToldBeforeALongDescriptionAndBothBeforeAConflict)
{
    const std::string longUid(101, 'u');
    const std::string longDescription(251, 'd');
    CRfidTokenList list = ListOf("[" + Token("1", longDescription) + "," + Token(longUid, "two") + "]");

    EXPECT_EQ(FailureOf([&] { list.AddToken(longUid, longDescription); }), LongUid);
    EXPECT_EQ(FailureOf([&] { list.AddToken(longUid, "two"); }), LongUid);
    EXPECT_EQ(FailureOf([&] { list.AddToken("1", longDescription); }), LongDescription);
    EXPECT_EQ(list.GetTokens().size(), 2U);
}

TEST(RfidTokenList, TextsOfAMegabyteAreRefused)
{
    const std::string huge(1 << 20, 'x');
    CRfidTokenList list = ListOf(ThreeTokens);

    EXPECT_EQ(FailureOf([&] { list.AddToken(huge, "d"); }), LongUid);
    EXPECT_EQ(FailureOf([&] { list.AddToken("u", huge); }), LongDescription);
    EXPECT_EQ(FailureOf([&] { list.UpdateDescription("1", huge); }), LongDescription);
    EXPECT_EQ(FailureOf([&] { list.RemoveToken(huge); }), NotFound);
    EXPECT_EQ(Text(list), ThreeTokens);
}

// ---------------------------------------------------------------------------------------------- Removing

TEST(RfidTokenList, RemovingTheFirstLeavesTheOrderOfTheOthers)
{
    CRfidTokenList list = ListOf(ThreeTokens);

    list.RemoveToken("1");

    EXPECT_EQ(Text(list), "[" + Token("2", "two") + "," + Token("3", "three") + "]");
    EXPECT_EQ(list.FindTokenIndex("3", "RfidTokenUid"), 1U);
}

TEST(RfidTokenList, RemovingAnUnknownTokenRemovesNone)
{
    CRfidTokenList list = ListOf(ThreeTokens);

    EXPECT_EQ(FailureOf([&] { list.RemoveToken("4"); }), NotFound);
    EXPECT_EQ(FailureOf([&] { list.RemoveToken(""); }), NotFound);
    EXPECT_EQ(Text(list), ThreeTokens);
}

TEST(RfidTokenList, RemovedTokenCanBeAddedAgainAtTheEnd)
{
    CRfidTokenList list = ListOf(ThreeTokens);

    list.RemoveToken("1");
    list.AddToken("1", "one");

    EXPECT_EQ(list.FindTokenIndex("1", "RfidTokenUid"), 2U);
}

// --------------------------------------------------------------------------------------------- Describing

TEST(RfidTokenList, DescriptionOfATokenIsReplaced)
{
    CRfidTokenList list = ListOf(ThreeTokens);

    list.UpdateDescription("2", "deux");

    EXPECT_EQ(Text(list),
              "[" + Token("1", "one") + "," + Token("2", "deux") + "," + Token("3", "three") + "]");
}

TEST(RfidTokenList, UpdateTakesADescriptionThatAnotherTokenHas)
{
    CRfidTokenList list = ListOf(ThreeTokens);
    const CCapturedLog log(Log::ELogLevel::Debug);

    list.UpdateDescription("2", "one");
    list.UpdateDescription("1", "");
    list.UpdateDescription("3", "");

    EXPECT_EQ(Text(list), "[" + Token("1", "") + "," + Token("2", "one") + "," + Token("3", "") + "]");
    EXPECT_THAT(log.Messages(), IsEmpty());
}

TEST(RfidTokenList, UpdateOfAnUnknownTokenIsNotFoundUnlessTheDescriptionIsTooLong)
{
    CRfidTokenList list = ListOf(ThreeTokens);

    EXPECT_EQ(FailureOf([&] { list.UpdateDescription("4", "four"); }), NotFound);
    EXPECT_EQ(FailureOf([&] { list.UpdateDescription("4", std::string(251, 'd')); }), LongDescription);
    EXPECT_EQ(Text(list), ThreeTokens);
}

// ------------------------------------------------------------------------------------- Lists of bad shape

TEST(RfidTokenList, ElementWithoutAUidAtTheHeadFailsEveryLookUp)
{
    const std::vector<std::string> elements{
        "{}", R"({"RfidTokenDescription":"no uid"})", "null", "1", "\"1\"", "[1]", "[]"};
    for (const std::string& element : elements)
    {
        const std::string tokens = "[" + element + "," + Token("1", "one") + "]";
        CRfidTokenList list = ListOf(tokens);

        EXPECT_EQ(FailureOf([&] { list.FindTokenIndex("1", "RfidTokenUid"); }), Corrupt) << element;
        EXPECT_EQ(FailureOf([&] { list.GetToken("1"); }), Corrupt) << element;
        EXPECT_EQ(FailureOf([&] { list.AddToken("2", "two"); }), Corrupt) << element;
        EXPECT_EQ(FailureOf([&] { list.RemoveToken("1"); }), Corrupt) << element;
        EXPECT_EQ(FailureOf([&] { list.UpdateDescription("1", "uno"); }), Corrupt) << element;
        EXPECT_EQ(FailureOf([&] { list.GetToken("unknown"); }), Corrupt) << element;
        EXPECT_EQ(Text(list), tokens);
    }
}

TEST(RfidTokenList, ElementWithoutAUidBehindTheSoughtTokenGoesUnnoticed)
{
    CRfidTokenList list = ListOf("[" + Token("1", "one") + ",{}," + Token("2", "two") + "]");

    list.UpdateDescription("1", "uno");
    EXPECT_EQ(list.GetToken("1")["RfidTokenDescription"], "uno");
    EXPECT_EQ(FailureOf([&] { list.AddToken("1", "new"); }), SameUid);
    EXPECT_EQ(FailureOf([&] { list.GetToken("2"); }), Corrupt);
    list.RemoveToken("1");
    EXPECT_EQ(Text(list), "[{}," + Token("2", "two") + "]");
}

TEST(RfidTokenList, ElementWithoutADescriptionFailsAddingOnly)
{
    CRfidTokenList list = ListOf(R"([{"RfidTokenUid":"1"}])");

    EXPECT_EQ(FailureOf([&] { list.AddToken("2", "two"); }), Corrupt);
    EXPECT_EQ(FailureOf([&] { list.AddToken("1", "two"); }), SameUid);
    list.UpdateDescription("1", "one");
    list.AddToken("2", "two");
    EXPECT_EQ(Text(list), "[" + Token("1", "one") + "," + Token("2", "two") + "]");
}

TEST(RfidTokenList, MembersThatAreNoTextCountAsTheirTextOrFail)
{
    CRfidTokenList list = ListOf(R"([{"RfidTokenUid":7},{"RfidTokenUid":null},{"RfidTokenUid":["x"]}])");

    EXPECT_EQ(list.FindTokenIndex("7", "RfidTokenUid"), 0U);
    EXPECT_EQ(list.FindTokenIndex("", "RfidTokenUid"), 1U);
    EXPECT_THAT(FailureOf([&] { list.GetToken("x"); }), StartsWith("500 "));
}

TEST(RfidTokenList, ListThatIsNoArrayFailsRequestsAndStaysAsItIs)
{
    const std::vector<std::function<void(CRfidTokenList&)>> operations{
        [](CRfidTokenList& list) { list.GetToken("1"); },
        [](CRfidTokenList& list) { list.AddToken("1", "one"); },
        [](CRfidTokenList& list) { list.RemoveToken("1"); },
        [](CRfidTokenList& list) { list.UpdateDescription("1", "uno"); },
    };
    const std::vector<std::string> shapes{
        "{}", "{\"1\":" + Token("1", "one") + "}", Token("1", "one"), "\"tokens\"", "1", "1.5", "true"};
    for (const std::string& tokens : shapes)
    {
        for (const auto& operation : operations)
        {
            CRfidTokenList list = ListOf(tokens);
            EXPECT_NE(FailureOf([&] { operation(list); }), "") << tokens;
            EXPECT_EQ(Text(list), tokens);
        }
    }
}

TEST(RfidTokenList, NullCountsAsAnEmptyList)
{
    CRfidTokenList list = ListOf("null");

    EXPECT_EQ(FailureOf([&] { list.GetToken("1"); }), NotFound);
    list.AddToken("1", "one");
    EXPECT_EQ(Text(list), "[" + Token("1", "one") + "]");
}

// --------------------------------------------------------------------------------------------------- Log

TEST(RfidTokenList, OperationsTraceTheirEntry)
{
    CRfidTokenList list = ListOf(ThreeTokens);
    const CCapturedLog log;

    list.GetToken("1");
    list.AddToken("4", "four");
    list.UpdateDescription("1", "uno");
    list.RemoveToken("1");

    for (const std::string method :
         {"FindTokenIndex", "GetToken", "AddToken", "UpdateDescription", "RemoveToken"})
    {
        EXPECT_TRUE(log.Has(Log::ELogLevel::Trace, "CRfidTokenList::" + method)) << method;
    }
}

} // namespace
