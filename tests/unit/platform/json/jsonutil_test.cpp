#include "platform/json/jsonutil.h"

#include <json/json.h>

#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::HasSubstr;
using testing::StartsWith;

namespace
{

/// What ParseObject says of a text that it refuses.
std::string FaultOf(const std::string& text)
{
    try
    {
        JsonUtil::ParseObject(text);
    }
    catch (const std::runtime_error& error)
    {
        return error.what();
    }
    return "no fault";
}

} // namespace

TEST(WriteUnstyled, HasNoBlanksAndNoLineFeed)
{
    Json::Value value;
    value["Name"] = "a b";
    value["List"].append(1);
    value["List"].append(false);
    value["Inner"]["Empty"] = Json::arrayValue;

    EXPECT_EQ(JsonUtil::WriteUnstyled(value), R"({"Inner":{"Empty":[]},"List":[1,false],"Name":"a b"})");
}

TEST(WriteUnstyled, WritesScalars)
{
    EXPECT_EQ(JsonUtil::WriteUnstyled(Json::Value()), "null");
    EXPECT_EQ(JsonUtil::WriteUnstyled("text"), "\"text\"");
    EXPECT_EQ(JsonUtil::WriteUnstyled(-7), "-7");
    EXPECT_EQ(JsonUtil::WriteUnstyled(Json::Value::maxUInt64), "18446744073709551615");
    EXPECT_EQ(JsonUtil::WriteUnstyled(true), "true");
}

TEST(WriteUnstyled, EscapesWhatIsNotAscii)
{
    EXPECT_EQ(JsonUtil::WriteUnstyled("\xc3\xbc\xf0\x9f\x98\x80"), R"("\u00fc\ud83d\ude00")");
    EXPECT_EQ(JsonUtil::WriteUnstyled("a\"\\\n\x01"), R"("a\"\\\n\u0001")");
}

TEST(WriteUnstyled, ReplacesBytesThatAreNoUtf8)
{
    EXPECT_EQ(JsonUtil::WriteUnstyled("a\xff"), R"("a\ufffd")");
}

TEST(ParseObject, GivesBackWhatWriteUnstyledWrote)
{
    Json::Value value;
    value["Number"] = 0.1;
    value["Text"] = std::string("a\0\xc3\xbc", 4);
    value["Big"] = std::numeric_limits<std::int64_t>::min();
    value["List"].append(Json::Value());

    EXPECT_EQ(JsonUtil::ParseObject(JsonUtil::WriteUnstyled(value)), value);
}

TEST(ParseObject, TakesBlanksAroundTheObject)
{
    EXPECT_EQ(JsonUtil::ParseObject(" \n{ \"Key\" : 1 }\n")["Key"], 1);
}

TEST(ParseObject, NamesLineColumnAndReasonOfTheFirstFault)
{
    EXPECT_EQ(FaultOf("{\n\"a\": 1,\n}"), "line 3, column 1: Missing '}' or object member name");
    EXPECT_EQ(FaultOf(""), "line 1, column 1: Syntax error: value, object or array expected.");
}

TEST(ParseObject, RefusesWhatIsNoStrictJson)
{
    EXPECT_THAT(FaultOf("// why\n{}"), StartsWith("line 1,"));
    EXPECT_THAT(FaultOf("{\"a\":1,\n\"a\":2}"), StartsWith("line 2,"));
    EXPECT_THAT(FaultOf("{'a':1}"), StartsWith("line 1,"));
    EXPECT_THAT(FaultOf("{\"a\":NaN}"), StartsWith("line 1,"));
    EXPECT_THAT(FaultOf("{}\n{}"), StartsWith("line 2,"));
    EXPECT_THAT(FaultOf("{\"a\":1"), StartsWith("line 1,"));
}

TEST(ParseObject, RefusesWhatIsNoObject)
{
    EXPECT_EQ(FaultOf("\n\n[1,\n2]"), "line 3: not an object");
    EXPECT_THAT(FaultOf("5"), StartsWith("line 1,"));
    EXPECT_THAT(FaultOf("null"), StartsWith("line 1,"));
}

TEST(ParseObject, RefusesBottomlessNesting)
{
    EXPECT_THAT(FaultOf("{\"a\":" + std::string(100000, '[')), HasSubstr("stackLimit"));
}

TEST(JsonUtil, WritesNoCommentsOfTheTextThatAValueIsFrom)
{
    Json::Value value;
    std::istringstream text("{\"TimeZone\": /*here*/ \"UTC\" // and there\n}");
    text >> value;

    EXPECT_EQ(JsonUtil::WriteUnstyled(value), R"({"TimeZone":"UTC"})");
}
