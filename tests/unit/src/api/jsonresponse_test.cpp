#include "src/api/jsonresponse.h"

#include <json/value.h>
#include <json/writer.h>

#include <string>

#include <gtest/gtest.h>

namespace
{

TEST(JsonResponse, KeepsTheValueAndIsASuccessUnlessToldOtherwise)
{
    Json::Value value;
    value["Key"] = 1;
    const JsonResponse response(value);

    EXPECT_EQ(response.GetValue(), value);
    EXPECT_EQ(response.get_response_code(), 200);
    EXPECT_EQ(std::string(response.get_header("Content-Type")), "application/json");
}

TEST(JsonResponse, TakesAnotherStatus)
{
    EXPECT_EQ(JsonResponse("Not Found", 404).get_response_code(), 404);
}

TEST(JsonResponse, WithoutValueIsTheEmptyAnswer)
{
    const JsonResponse response;

    EXPECT_TRUE(response.GetValue().isNull());
    EXPECT_EQ(response.get_response_code(), 204);
    EXPECT_EQ(std::string(response.get_header("Content-Type")), "text/plain");
}

} // namespace
