#include "src/api/httpexception.h"

#include <stdexcept>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

namespace
{

template <int N>
void ExpectReason(const char* word)
{
    const HttpStatusException<N> exception;
    EXPECT_EQ(exception.GetStatus(), N);
    EXPECT_STREQ(exception.what(), word);
}

TEST(HttpException, CarriesStatusAndTextAsGiven)
{
    const HttpException exception(418, "a \"text\"\n");

    EXPECT_EQ(exception.GetStatus(), 418);
    EXPECT_STREQ(exception.what(), "a \"text\"\n");
}

TEST(HttpException, IsARuntimeError)
{
    EXPECT_TRUE((std::is_base_of_v<std::runtime_error, HttpException>));
    EXPECT_TRUE((std::is_base_of_v<HttpException, HttpStatusException<404>>));
}

TEST(HttpStatusException, WithoutMessageSaysTheReasonWordOfItsStatus)
{
    ExpectReason<400>("Bad Request");
    ExpectReason<401>("Unauthorized");
    ExpectReason<403>("Forbidden");
    ExpectReason<404>("Not Found");
    ExpectReason<405>("Method not Allowed");
    ExpectReason<409>("Conflict");
    ExpectReason<500>("Internal Server Error");
    ExpectReason<503>("Service Unavailable");
}

TEST(HttpStatusException, BadGatewayHasAReasonWordOnly)
{
    EXPECT_STREQ(FindHttpReason(502), "Bad Gateway");
}

TEST(HttpStatusException, OtherStatusesHaveNoReasonWord)
{
    EXPECT_EQ(FindHttpReason(200), nullptr);
    EXPECT_EQ(FindHttpReason(418), nullptr);
}

TEST(HttpStatusException, MessageStringStandsInQuotationMarks)
{
    const HttpStatusException<400> exception("Invalid content type");

    EXPECT_EQ(exception.GetStatus(), 400);
    EXPECT_STREQ(exception.what(), R"("Invalid content type")");
}

TEST(HttpStatusException, MessageObjectIsCompactJson)
{
    Json::Value message;
    message["Reason"] = "RfidTokenUid";
    message["Also"].append(1);
    const HttpStatusException<409> exception(message);

    EXPECT_EQ(exception.GetStatus(), 409);
    EXPECT_STREQ(exception.what(), R"({"Also":[1],"Reason":"RfidTokenUid"})");
}

TEST(HttpStatusException, IsCaughtAsHttpExceptionWithItsStatus)
{
    try
    {
        throw HttpStatusException<503>("The firmware package is currently in use by someone else");
    }
    catch (const HttpException& exception)
    {
        EXPECT_EQ(exception.GetStatus(), 503);
        EXPECT_STREQ(exception.what(), R"("The firmware package is currently in use by someone else")");
    }
}

} // namespace
