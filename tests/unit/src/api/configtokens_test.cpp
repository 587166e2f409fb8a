#include "platform/json/jsonutil.h"

#include <json/value.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <future>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/runtogether.h"
#include "tests/unit/src/api/configtest.h"

namespace
{

using Resources::CConfigApi;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

/// What a test shows by what does not happen, it watches for this long.
constexpr std::chrono::milliseconds Watch{100};

const std::string BadRequest = "400 Bad Request";
const std::string NotFound = "404 Not Found";

std::string Token(const std::string& uid, const std::string& description)
{
    return R"({"RfidTokenDescription":")" + description + R"(","RfidTokenUid":")" + uid + "\"}";
}

class ConfigTokens : public ConfigApiTest
{
protected:
    ConfigTokens()
    {
        files.Write("rfid_standalone", R"({"Tokens":[)" + Token("1", "one") + "," + Token("2", "two") + "]}");
        Start();
    }

    std::string List()
    {
        return AnswerOf([this] { return api->GetAuthStandaloneList(); });
    }

    std::string Post(const std::string& body)
    {
        return AnswerOf([&] { return api->PostAuthStandaloneList(CFakeRequest(body)); });
    }

    std::string Get(const std::string& uid) { return OfToken(&CConfigApi::GetAuthStandaloneToken, uid); }

    std::string Delete(const std::string& uid)
    {
        return OfToken(&CConfigApi::DeleteAuthStandaloneToken, uid);
    }

    std::string Patch(const std::string& uid, const std::string& body)
    {
        return OfToken(&CConfigApi::PatchAuthStandaloneToken, uid, body);
    }

    /// The answer to a request of the token's path.
    std::string OfToken(Response (CConfigApi::*handler)(const IHttpRequest&),
                        const std::string& uid,
                        const std::string& body = "")
    {
        CFakeRequest request(body);
        request.args["RfidTokenUid"] = uid;
        return AnswerOf([&] { return (*api.*handler)(request); });
    }

    std::string Stored() const { return files.Stored("rfid_standalone", "Tokens"); }

    const std::string initialTokens = "[" + Token("1", "one") + "," + Token("2", "two") + "]";
};

} // namespace

TEST_F(ConfigTokens, AreListedAndFoundByTheirUid)
{
    EXPECT_EQ(List(), R"(200 {"Tokens":)" + initialTokens + "}");
    EXPECT_EQ(Get("2"), "200 " + Token("2", "two"));
    EXPECT_EQ(Get("3"), NotFound);
    EXPECT_EQ(Get(""), NotFound);
}

TEST_F(ConfigTokens, StationWithoutAFileHasAnEmptyList)
{
    files.Write("rfid_standalone", "{}");
    Start();

    EXPECT_EQ(List(), R"(200 {"Tokens":[]})");
    EXPECT_EQ(Post(Token("1", "one")), "204");
    EXPECT_EQ(Stored(), "[" + Token("1", "one") + "]");
}

TEST_F(ConfigTokens, PostedTokenIsInTheFileWhenTheAnswerIsThere)
{
    EXPECT_EQ(Post(Token("3", "three")), "204");

    EXPECT_EQ(Stored(), "[" + Token("1", "one") + "," + Token("2", "two") + "," + Token("3", "three") + "]");
    EXPECT_EQ(Get("3"), "200 " + Token("3", "three"));
}

TEST_F(ConfigTokens, PostedTokenMayHaveNoDescriptionOnce)
{
    EXPECT_EQ(Post(Token("3", "")), "204");
    EXPECT_EQ(Post(Token("4", "")), R"(409 {"Reason":"RfidTokenDescription"})");
}

TEST_F(ConfigTokens, PostOfAKnownTokenIsAConflict)
{
    EXPECT_EQ(Post(Token("1", "new")), R"(409 {"Reason":"RfidTokenUid"})");
    EXPECT_EQ(Post(Token("3", "two")), R"(409 {"Reason":"RfidTokenDescription"})");
    EXPECT_EQ(Stored(), initialTokens);
}

TEST_F(ConfigTokens, EmptyUidIsToldBeforeATooLongDescription)
{
    EXPECT_EQ(Post(Token("", std::string(251, 'd'))), "400 \"Empty token UID\"");
    EXPECT_EQ(Post(Token("3", std::string(251, 'd'))),
              "400 \"Token description is too long (max: 250 characters)\"");
    EXPECT_EQ(Stored(), initialTokens);
}

TEST_F(ConfigTokens, BothMembersAreReadBeforeTheUidIsChecked)
{
    EXPECT_EQ(Post(R"({"RfidTokenUid":""})"), BadRequest);
    EXPECT_EQ(Post(R"({"RfidTokenUid":"","RfidTokenDescription":1})"), BadRequest);
}

TEST_F(ConfigTokens, PostWithoutTwoTextsIsABadRequest)
{
    for (const std::string value : {"null", "1", "1.5", "true", "[]", "{}", "[\"3\"]"})
    {
        EXPECT_EQ(Post(R"({"RfidTokenUid":)" + value + R"(,"RfidTokenDescription":"d"})"), BadRequest);
        EXPECT_EQ(Post(R"({"RfidTokenUid":"3","RfidTokenDescription":)" + value + "}"), BadRequest);
        EXPECT_EQ(Patch("1", R"({"RfidTokenDescription":)" + value + "}"), BadRequest);
    }
    for (const std::string body : {"{}", R"({"RfidTokenUid":"3"})", R"({"RfidTokenDescription":"d"})"})
    {
        EXPECT_EQ(Post(body), BadRequest);
    }
    EXPECT_EQ(Patch("1", "{}"), BadRequest);
    EXPECT_EQ(Patch("unknown", R"({"RfidTokenUid":"1"})"), BadRequest);
    EXPECT_EQ(Stored(), initialTokens);
}

TEST_F(ConfigTokens, LastOfDuplicateMembersAndNoOtherMemberCounts)
{
    EXPECT_EQ(Post(R"({"RfidTokenUid":"1","RfidTokenUid":"3","RfidTokenDescription":"three","More":1})"),
              "204");

    EXPECT_EQ(Get("3"), "200 " + Token("3", "three"));
}

TEST_F(ConfigTokens, DeletedTokenIsGoneFromTheFile)
{
    EXPECT_EQ(Delete("1"), "204");
    EXPECT_EQ(Stored(), "[" + Token("2", "two") + "]");
    EXPECT_EQ(Delete("1"), NotFound);
    EXPECT_EQ(Delete("2"), "204");
    EXPECT_EQ(Stored(), "[]");
    EXPECT_EQ(List(), R"(200 {"Tokens":[]})");
}

TEST_F(ConfigTokens, PatchAnswersWithTheTokenAsItIsThen)
{
    EXPECT_EQ(Patch("2", R"({"RfidTokenDescription":"deux"})"), "200 " + Token("2", "deux"));

    EXPECT_EQ(Stored(), "[" + Token("1", "one") + "," + Token("2", "deux") + "]");
}

TEST_F(ConfigTokens, PatchTakesTheDescriptionOfAnotherTokenButNotATooLongOne)
{
    EXPECT_EQ(Patch("2", R"({"RfidTokenDescription":"one"})"), "200 " + Token("2", "one"));
    EXPECT_EQ(Patch("2", R"({"RfidTokenDescription":")" + std::string(251, 'd') + "\"}"),
              "400 \"Token description is too long (max: 250 characters)\"");
    EXPECT_EQ(Patch("3", R"({"RfidTokenDescription":"x"})"), NotFound);
}

TEST_F(ConfigTokens, UidOfThePathIsTheOneThatCounts)
{
    EXPECT_EQ(Patch("2", R"({"RfidTokenUid":"1","RfidTokenDescription":"deux"})"),
              "200 " + Token("2", "deux"));
}

TEST_F(ConfigTokens, FullListTakesNoMore)
{
    for (int i = 3; i <= 100; ++i)
    {
        ASSERT_EQ(Post(Token(std::to_string(i), "number " + std::to_string(i))), "204");
    }
    EXPECT_EQ(Post(Token("101", "number 101")), "400 \"Maximum number of RFID tokens reached\"");
    EXPECT_EQ(JsonUtil::ParseObject("{\"Tokens\":" + Stored() + "}")["Tokens"].size(), 100U);
}

TEST_F(ConfigTokens, SaveIsLogged)
{
    const CCapturedLog log(Log::ELogLevel::Debug);

    Delete("1");

    EXPECT_THAT(log.Messages(Log::ELogLevel::Debug),
                ElementsAre("Writing new list of tokens to standalone token config"));
}

TEST_F(ConfigTokens, RefusedChangeIsNotSaved)
{
    const CCapturedLog log(Log::ELogLevel::Debug);

    Delete("3");
    Post(Token("1", "new"));
    Patch("3", R"({"RfidTokenDescription":"x"})");

    for (const CCapturedLog::SLine& line : log.Messages())
    {
        EXPECT_THAT(line.text, testing::Not(HasSubstr("Writing")));
    }
}

TEST_F(ConfigTokens, MemoryLeadsAndTheFileFollows)
{
    files.Open("rfid_standalone")->SetValue("Tokens", Json::Value(Json::arrayValue));

    EXPECT_EQ(List(), R"(200 {"Tokens":)" + initialTokens + "}");
    EXPECT_EQ(Post(Token("3", "three")), "204");
    EXPECT_EQ(Stored(), "[" + Token("1", "one") + "," + Token("2", "two") + "," + Token("3", "three") + "]");
}

TEST_F(ConfigTokens, TokenWhoseSaveFailsIsInMemoryAndReachesTheFileWithTheNext)
{
    const std::filesystem::path directory = files.Root() + "data/config";
    std::filesystem::rename(directory, files.Root() + "data/elsewhere");
    std::filesystem::create_directories(directory / "rfid_standalone.json");

    EXPECT_THAT(Post(Token("3", "three")), StartsWith("500 "));
    EXPECT_EQ(Get("3"), "200 " + Token("3", "three"));

    std::filesystem::remove_all(directory);
    std::filesystem::rename(files.Root() + "data/elsewhere", directory);
    EXPECT_EQ(Stored(), initialTokens);
    EXPECT_EQ(Post(Token("4", "four")), "204");
    EXPECT_EQ(Stored(),
              "[" + Token("1", "one") + "," + Token("2", "two") + "," + Token("3", "three") + "," +
                  Token("4", "four") + "]");
}

TEST_F(ConfigTokens, UidsAndDescriptionsAreAnyBytesOfUtf8)
{
    const std::string odd = R"(\u0000\"\\\/\u00e4\ud83d\ude00)";

    EXPECT_EQ(Post(R"({"RfidTokenUid":"a)" + odd + R"(","RfidTokenDescription":"d)" + odd + "\"}"), "204");

    const std::string uid("a\0\"\\/\xc3\xa4\xf0\x9f\x98\x80", 11);
    EXPECT_THAT(Get(uid), StartsWith("200 "));
    Start();
    EXPECT_THAT(Get(uid), StartsWith("200 "));
    EXPECT_EQ(Get("a"), NotFound);
}

TEST_F(ConfigTokens, TextsOfAMegabyteAreRefused)
{
    const std::string huge(1 << 20, 'x');

    EXPECT_EQ(Post(Token(huge, "d")), "400 \"Token uid is too long (max: 100 characters)\"");
    EXPECT_EQ(Get(huge), NotFound);
    EXPECT_EQ(Delete(huge), NotFound);
    EXPECT_EQ(Stored(), initialTokens);
}

// ------------------------------------------------------------------------------------- Files of bad shape

TEST_F(ConfigTokens, TokensThatAreNoArrayFailRequestsAndStay)
{
    for (const std::string tokens : {"{}", R"({"a":1})", "\"tokens\"", "1", "1.5", "true"})
    {
        files.Write("rfid_standalone", "{\"Tokens\":" + tokens + "}");
        Start();
        EXPECT_EQ(List(), "200 {\"Tokens\":" + tokens + "}");
        EXPECT_THAT(Post(Token("3", "three")), StartsWith("500 ")) << tokens;
        EXPECT_NE(Get("1").substr(0, 3), "200") << tokens;
        EXPECT_NE(Delete("1"), "204") << tokens;
        EXPECT_NE(Patch("1", R"({"RfidTokenDescription":"x"})").substr(0, 3), "200") << tokens;
        EXPECT_EQ(Stored(), tokens);
    }
}

TEST_F(ConfigTokens, ElementsWithoutKeysFailRequestsThatMeetThem)
{
    const std::string corrupt = "500 \"Internal RFID token list format is corrupt\"";
    files.Write("rfid_standalone", R"({"Tokens":[)" + Token("1", "one") + R"(,{},"text",null]})");
    Start();

    EXPECT_EQ(Get("1"), "200 " + Token("1", "one"));
    EXPECT_EQ(Get("2"), corrupt);
    EXPECT_EQ(Post(Token("2", "two")), corrupt);
    EXPECT_EQ(Delete("2"), corrupt);
    EXPECT_EQ(Patch("2", R"({"RfidTokenDescription":"x"})"), corrupt);
    EXPECT_EQ(Delete("1"), "204");
    EXPECT_EQ(Stored(), R"([{},"text",null])");
}

// ------------------------------------------------------------------------------------------- Concurrency

TEST_F(ConfigTokens, ChangesAtTheSameTimeAllLandInListAndFile)
{
    constexpr int Threads = 8;
    constexpr int TokensEach = 6;

    RunTogether(Threads,
                [this](int number)
                {
                    for (int i = 0; i < TokensEach; ++i)
                    {
                        const std::string uid = std::to_string(number) + "/" + std::to_string(i);
                        EXPECT_EQ(Post(Token(uid, uid)), "204");
                        EXPECT_EQ(Patch(uid, R"({"RfidTokenDescription":"new )" + uid + "\"}"),
                                  "200 " + Token(uid, "new " + uid));
                        EXPECT_EQ(Get(uid), "200 " + Token(uid, "new " + uid));
                        EXPECT_THAT(List(), HasSubstr(Token(uid, "new " + uid)));
                        if (i % 2 == 1)
                        {
                            EXPECT_EQ(Delete(uid), "204");
                        }
                    }
                });

    std::set<std::string> expected{"1", "2"};
    for (int number = 0; number < Threads; ++number)
    {
        for (int i = 0; i < TokensEach; i += 2)
        {
            expected.insert(std::to_string(number) + "/" + std::to_string(i));
        }
    }
    std::set<std::string> stored;
    const Json::Value file = JsonUtil::ParseObject("{\"Tokens\":" + Stored() + "}");
    for (const Json::Value& token : file["Tokens"])
    {
        stored.insert(token["RfidTokenUid"].asString());
    }
    EXPECT_EQ(stored, expected);
    EXPECT_EQ(List(), "200 " + JsonUtil::WriteUnstyled(file));
}

TEST_F(ConfigTokens, ChangeWaitsForTheSaveOfTheOneBeforeSoThatTheFileEndsWithTheLast)
{
    std::future<std::string> second;
    std::future_status status = std::future_status::ready;
    rfidConfig = files.Open("rfid_standalone",
                            [&](const std::string&, const Json::Value&)
                            {
                                if (!second.valid())
                                {
                                    second = std::async(std::launch::async,
                                                        [this] { return Post(Token("4", "four")); });
                                    status = second.wait_for(Watch);
                                }
                            });
    api = std::make_unique<CConfigApi>(
        nullptr, rfidConfig, nullptr, nullptr, nullptr, nullptr, secretsConfig, nullptr);

    EXPECT_EQ(Post(Token("3", "three")), "204");

    EXPECT_EQ(status, std::future_status::timeout);
    EXPECT_EQ(second.get(), "204");
    EXPECT_EQ(Stored(),
              "[" + Token("1", "one") + "," + Token("2", "two") + "," + Token("3", "three") + "," +
                  Token("4", "four") + "]");
}

TEST_F(ConfigTokens, OneOfManyPostsOfATokenAtTheSameTimeWins)
{
    std::vector<std::string> answers(8);

    RunTogether(8,
                [&](int number) {
                    answers[static_cast<std::size_t>(number)] =
                        Post(Token("same", "by " + std::to_string(number)));
                });

    EXPECT_EQ(std::count(answers.begin(), answers.end(), "204"), 1);
    EXPECT_EQ(std::count(answers.begin(), answers.end(), R"(409 {"Reason":"RfidTokenUid"})"), 7);
}
