#include "simulator/steering/steering.h"
#include "simulator/steering/steeringerror.h"

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

using Simulator::CBadRequest;
using Simulator::CSteering;
using Simulator::CSteeringError;
using Simulator::QueryNumber;
using Simulator::QueryText;
using Simulator::SHttpAnswer;
using Simulator::SSteeringRequest;

namespace
{

class Steering : public testing::Test
{
protected:
    Steering()
    {
        steering.Add("/echo", "POST", [](const SSteeringRequest& request) { return request.body; });
        steering.Add("/query",
                     "GET",
                     [](const SSteeringRequest& request)
                     {
                         Json::Value answer;
                         answer["Number"] = QueryNumber(request, "n", 7, 100);
                         answer["Text"] = QueryText(request, "t");
                         return answer;
                     });
        steering.Add(
            "/bad", "GET", [](const SSteeringRequest&) -> Json::Value { throw CBadRequest("reason"); });
        steering.Add("/gone",
                     "GET",
                     [](const SSteeringRequest&) -> Json::Value { throw CSteeringError(502, "gone"); });
        steering.Add("/broken",
                     "GET",
                     [](const SSteeringRequest&) -> Json::Value { throw std::logic_error("broken"); });
    }

    SHttpAnswer Query(const std::map<std::string, std::string>& query)
    {
        return steering.Handle({"GET", "/query", query, ""});
    }

    CSteering steering;
};

} // namespace

TEST_F(Steering, HandsTheParsedBodyOver)
{
    const SHttpAnswer answer = steering.Handle({"POST", "/echo", {}, R"({"A": [1, 2]})"});
    EXPECT_EQ(answer.status, 200U);
    EXPECT_EQ(answer.body, "{\"A\":[1,2]}\n");
}

TEST_F(Steering, RequestWithoutABodyHasANullOne)
{
    EXPECT_EQ(steering.Handle({"POST", "/echo", {}, ""}).body, "null\n");
}

TEST_F(Steering, BodyThatIsNoJsonObjectIsABadRequest)
{
    for (const char* const body : {"{", "nonsense", "{} {}", "[1]"})
    {
        EXPECT_EQ(steering.Handle({"POST", "/echo", {}, body}).status, 400U) << body;
    }
}

TEST_F(Steering, UnknownPathAndMethodAreToldApart)
{
    EXPECT_EQ(steering.Handle({"GET", "/nowhere", {}, ""}).status, 404U);
    EXPECT_EQ(steering.Handle({"GET", "/echo", {}, ""}).status, 405U);
    EXPECT_EQ(steering.Handle({"GET", "/nowhere", {}, ""}).body, "{\"Error\":\"there is no /nowhere\"}\n");
}

TEST_F(Steering, ErrorsTellTheirReason)
{
    EXPECT_EQ(steering.Handle({"GET", "/bad", {}, ""}).status, 400U);
    EXPECT_EQ(steering.Handle({"GET", "/bad", {}, ""}).body, "{\"Error\":\"reason\"}\n");
    EXPECT_EQ(steering.Handle({"GET", "/gone", {}, ""}).status, 502U);
    EXPECT_EQ(steering.Handle({"GET", "/broken", {}, ""}).status, 500U);
}

TEST_F(Steering, QueryHasDefaults)
{
    EXPECT_EQ(Query({}).body, "{\"Number\":7.0,\"Text\":\"\"}\n");
    EXPECT_EQ(Query({{"n", "1.5"}, {"t", "x"}}).body, "{\"Number\":1.5,\"Text\":\"x\"}\n");
}

TEST_F(Steering, WrongNumbersInAQueryAreBadRequests)
{
    for (const char* const number : {"", "x", "1x", "-1", "101", "nan", "inf"})
    {
        EXPECT_EQ(Query({{"n", number}}).status, 400U) << number;
    }
}

TEST_F(Steering, KnowsItsRequests)
{
    EXPECT_TRUE(steering.Knows("/echo", "POST"));
    EXPECT_FALSE(steering.Knows("/echo", "GET"));
    EXPECT_FALSE(steering.Knows("/nowhere", "POST"));
}
