#include "src/api/httpexception.h"
#include "src/api/jsonbody.h"

#include <json/value.h>
#include <json/writer.h>

#include <limits>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fakerequest.h"

namespace
{

using testing::HasSubstr;
using testing::StartsWith;

/// The text of the 400 that parsing @p content ends in.
std::string ParseFailure(const std::string& content)
{
    try
    {
        const Json::Value body = ParseJsonBody(CFakeRequest(content));
        ADD_FAILURE() << "parsed: " << body;
    }
    catch (const HttpException& exception)
    {
        EXPECT_EQ(exception.GetStatus(), 400);
        return exception.what();
    }
    return "";
}

std::string Nested(unsigned int depth)
{
    return std::string(depth, '[') + std::string(depth, ']');
}

template <class T>
using Getter = T (*)(const Json::Value&, const std::string&);

template <class T>
void ExpectBadRequest(Getter<T> getter, const Json::Value& member)
{
    Json::Value object(Json::objectValue);
    object["Key"] = member;
    try
    {
        getter(object, "Key");
        ADD_FAILURE() << "accepted: " << member;
    }
    catch (const HttpException& exception)
    {
        EXPECT_EQ(exception.GetStatus(), 400) << member;
        EXPECT_STREQ(exception.what(), "Bad Request") << member;
    }
}

template <class T>
T Get(Getter<T> getter, const Json::Value& member)
{
    Json::Value object(Json::objectValue);
    object["Key"] = member;
    return getter(object, "Key");
}

const Json::Value EmptyArray(Json::arrayValue);
const Json::Value EmptyObject(Json::objectValue);

TEST(ParseJsonBody, GivesTheValueOfTheBody)
{
    const Json::Value body = ParseJsonBody(CFakeRequest(R"( {"Key": [1, "two", null]} )"));

    ASSERT_TRUE(body.isObject());
    EXPECT_EQ(body["Key"][0], 1);
    EXPECT_EQ(body["Key"][1], "two");
    EXPECT_TRUE(body["Key"][2].isNull());
}

TEST(ParseJsonBody, GivesArraysAndPlainValuesToo)
{
    EXPECT_TRUE(ParseJsonBody(CFakeRequest("[]")).isArray());
    EXPECT_EQ(ParseJsonBody(CFakeRequest("5")), 5);
    EXPECT_TRUE(ParseJsonBody(CFakeRequest("null")).isNull());
}

TEST(ParseJsonBody, EmptyBodyIsAParseFailure)
{
    EXPECT_EQ(
        ParseFailure(""),
        R"("Could not parse body: * Line 1, Column 1\n  Syntax error: value, object or array expected.\n")");
}

TEST(ParseJsonBody, FailureCarriesTheParsersWordsAsAJsonString)
{
    EXPECT_EQ(
        ParseFailure("{\n\"Key\": x}"),
        R"("Could not parse body: * Line 2, Column 8\n  Syntax error: value, object or array expected.\n")");
}

TEST(ParseJsonBody, BodiesThatAreNotJsonFail)
{
    for (const std::string content :
         {"RebootType=SoftReboot", "<xml/>", "{", "[1", "\"open", "{\"a\":}", "{\"a\" 1}", "\xff\xfe", "tru"})
    {
        EXPECT_THAT(ParseFailure(content), StartsWith("\"Could not parse body: * Line 1, Column "))
            << content;
    }
    EXPECT_THAT(ParseFailure(std::string(1, '\0')), StartsWith("\"Could not parse body: "));
}

TEST(ParseJsonBody, NestingToTheParsersLimitIsRead)
{
    EXPECT_TRUE(ParseJsonBody(CFakeRequest(Nested(999))).isArray());
}

TEST(ParseJsonBody, NestingBeyondTheParsersLimitThrowsItsException)
{
    for (const unsigned int depth : {1001U, 10'000U, 1'000'000U})
    {
        EXPECT_THROW(ParseJsonBody(CFakeRequest(Nested(depth))), Json::Exception) << depth;
        EXPECT_THROW(ParseJsonBody(CFakeRequest(std::string(depth, '['))), Json::Exception) << depth;
    }
}

TEST(ParseJsonBody, BodyOfTenMegabytesIsReadWhole)
{
    const std::string text(10'000'000, 'x');

    const Json::Value body = ParseJsonBody(CFakeRequest("{\"Key\": \"" + text + "\"}"));

    EXPECT_EQ(body["Key"].asString(), text);
}

TEST(GetSessionId, IsTheCookieSessionid)
{
    CFakeRequest request;
    request.cookies = {{"sessionid", "abc"}, {"other", "x"}};

    EXPECT_EQ(GetSessionId(request), "abc");
}

TEST(GetSessionId, IsEmptyWithoutTheCookie)
{
    EXPECT_EQ(GetSessionId(CFakeRequest()), "");
}

TEST(GetJsonBool, GivesBothValues)
{
    EXPECT_TRUE(Get(GetJsonBool, true));
    EXPECT_FALSE(Get(GetJsonBool, false));
}

TEST(GetJsonBool, RefusesOtherTypes)
{
    for (const Json::Value& member :
         {Json::Value(), Json::Value(1), Json::Value("true"), EmptyArray, EmptyObject})
    {
        ExpectBadRequest(GetJsonBool, member);
    }
}

TEST(GetJsonInt, GivesTheWholeRange)
{
    EXPECT_EQ(Get(GetJsonInt, std::numeric_limits<int>::min()), -2147483647 - 1);
    EXPECT_EQ(Get(GetJsonInt, -1), -1);
    EXPECT_EQ(Get(GetJsonInt, std::numeric_limits<int>::max()), 2147483647);
}

TEST(GetJsonInt, AcceptsANumberWithoutFraction)
{
    EXPECT_EQ(Get(GetJsonInt, 3.0), 3);
}

TEST(GetJsonInt, RefusesOtherTypesAndWhatDoesNotFit)
{
    for (const Json::Value& member : {Json::Value(),
                                      Json::Value(true),
                                      Json::Value("1"),
                                      Json::Value(1.5),
                                      Json::Value(Json::Int64(2147483648)),
                                      Json::Value(Json::Int64(-2147483649)),
                                      EmptyArray,
                                      EmptyObject})
    {
        ExpectBadRequest(GetJsonInt, member);
    }
}

TEST(GetJsonUInt, GivesTheWholeRange)
{
    EXPECT_EQ(Get(GetJsonUInt, 0), 0U);
    EXPECT_EQ(Get(GetJsonUInt, Json::Int64(4294967295)), 4294967295U);
}

TEST(GetJsonUInt, RefusesNegativeNumbersOtherTypesAndWhatDoesNotFit)
{
    for (const Json::Value& member : {Json::Value(-1),
                                      Json::Value(),
                                      Json::Value(true),
                                      Json::Value("1"),
                                      Json::Value(1.5),
                                      Json::Value(Json::Int64(4294967296)),
                                      EmptyArray,
                                      EmptyObject})
    {
        ExpectBadRequest(GetJsonUInt, member);
    }
}

TEST(GetJsonString, GivesTheTextWithAllItsBytes)
{
    const std::string text("a\0\xc3\xa9", 4);

    EXPECT_EQ(Get(GetJsonString, text), text);
    EXPECT_EQ(Get(GetJsonString, ""), "");
}

TEST(GetJsonString, RefusesOtherTypes)
{
    for (const Json::Value& member :
         {Json::Value(), Json::Value(true), Json::Value(1), EmptyArray, EmptyObject})
    {
        ExpectBadRequest(GetJsonString, member);
    }
}

TEST(GetJsonFloat, GivesAnyNumber)
{
    EXPECT_FLOAT_EQ(Get(GetJsonFloat, -1.25), -1.25F);
    EXPECT_FLOAT_EQ(Get(GetJsonFloat, 7), 7.0F);
    EXPECT_FLOAT_EQ(Get(GetJsonFloat, Json::Int64(4294967296)), 4294967296.0F);
}

TEST(GetJsonFloat, RefusesOtherTypes)
{
    for (const Json::Value& member :
         {Json::Value(), Json::Value(true), Json::Value("1"), EmptyArray, EmptyObject})
    {
        ExpectBadRequest(GetJsonFloat, member);
    }
}

TEST(GetJsonObject, GivesTheObject)
{
    Json::Value member;
    member["Inner"] = 1;

    EXPECT_EQ(Get(GetJsonObject, member), member);
    EXPECT_EQ(Get(GetJsonObject, EmptyObject), EmptyObject);
}

TEST(GetJsonObject, RefusesOtherTypes)
{
    for (const Json::Value& member :
         {Json::Value(), Json::Value(true), Json::Value(1), Json::Value("{}"), EmptyArray})
    {
        ExpectBadRequest(GetJsonObject, member);
    }
}

TEST(GetJsonArray, GivesTheArray)
{
    Json::Value member;
    member.append(1);

    EXPECT_EQ(Get(GetJsonArray, member), member);
    EXPECT_EQ(Get(GetJsonArray, EmptyArray), EmptyArray);
}

TEST(GetJsonArray, RefusesOtherTypes)
{
    for (const Json::Value& member :
         {Json::Value(), Json::Value(true), Json::Value(1), Json::Value("[]"), EmptyObject})
    {
        ExpectBadRequest(GetJsonArray, member);
    }
}

TEST(JsonGetters, AMissingMemberIsABadRequest)
{
    EXPECT_THROW(GetJsonBool(EmptyObject, "Key"), HttpStatusException<400>);
    EXPECT_THROW(GetJsonInt(EmptyObject, "Key"), HttpStatusException<400>);
    EXPECT_THROW(GetJsonUInt(EmptyObject, "Key"), HttpStatusException<400>);
    EXPECT_THROW(GetJsonString(EmptyObject, "Key"), HttpStatusException<400>);
    EXPECT_THROW(GetJsonFloat(EmptyObject, "Key"), HttpStatusException<400>);
    EXPECT_THROW(GetJsonObject(EmptyObject, "Key"), HttpStatusException<400>);
    EXPECT_THROW(GetJsonArray(EmptyObject, "Key"), HttpStatusException<400>);
}

TEST(JsonGetters, KeysAreCaseSensitive)
{
    Json::Value object;
    object["key"] = true;

    EXPECT_THROW(GetJsonBool(object, "Key"), HttpStatusException<400>);
}

TEST(JsonGetters, ANullValueHasNoMembers)
{
    EXPECT_THROW(GetJsonString(Json::Value(), "Key"), HttpStatusException<400>);
}

TEST(JsonGetters, OnAnythingButAnObjectTheLibraryThrows)
{
    for (const Json::Value& value : {EmptyArray, Json::Value("text"), Json::Value(1), Json::Value(true)})
    {
        EXPECT_THROW(GetJsonString(value, "Key"), Json::Exception) << value;
    }
}

} // namespace
