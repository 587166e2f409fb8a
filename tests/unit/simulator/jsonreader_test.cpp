#include "contracts/station.pb.h"
#include "platform/json/jsonutil.h"
#include "simulator/steering/jsonreader.h"
#include "simulator/steering/steeringerror.h"

#include <string>

#include <gtest/gtest.h>

using Simulator::CBadRequest;
using Simulator::CJsonReader;

namespace
{

template <class Action>
std::string ReasonOf(const Action& action)
{
    try
    {
        action();
    }
    catch (const CBadRequest& error)
    {
        return error.what();
    }
    return "";
}

} // namespace

TEST(JsonReader, GivesMembersByType)
{
    const Json::Value json =
        JsonUtil::ParseObject(R"({"T":"text","B":true,"I":-5,"N":0.5,"A":[1],"O":{"X":1},"Z":null})");
    CJsonReader reader(json);
    EXPECT_EQ(reader.Text("T"), "text");
    EXPECT_TRUE(reader.Bool("B"));
    EXPECT_EQ(reader.Integer("I", -5, 5), -5);
    EXPECT_DOUBLE_EQ(reader.Number("N", 1), 0.5);
    EXPECT_EQ(reader.Array("A").size(), 1U);
    EXPECT_EQ(reader.Object("O").Integer("X", 0, 1), 1);
    EXPECT_TRUE(reader.IsNull("Z"));
    reader.RefuseOthers();
}

TEST(JsonReader, NamesWhatIsWrong)
{
    const Json::Value json = JsonUtil::ParseObject(R"({"T":1,"I":7,"O":{"X":"a"},"E":"Nonsense"})");
    CJsonReader reader(json);
    EXPECT_EQ(ReasonOf([&] { reader.Text("T"); }), "T is no string");
    EXPECT_EQ(ReasonOf([&] { reader.Bool("T"); }), "T is neither true nor false");
    EXPECT_EQ(ReasonOf([&] { reader.Integer("I", 0, 6); }), "I is no integer from 0 to 6");
    EXPECT_EQ(ReasonOf([&] { reader.Integer("Missing", 0, 6); }), "Missing is missing");
    EXPECT_EQ(ReasonOf([&] { reader.Array("T"); }), "T is no array");
    EXPECT_EQ(ReasonOf([&] { reader.Object("T"); }), "T is no object");
    EXPECT_EQ(ReasonOf([&] { reader.Object("O").Integer("X", 0, 1); }), "O.X is no integer from 0 to 1");
    EXPECT_EQ(ReasonOf([&] { reader.Enumerator<ipc::EState>("E", &ipc::EState_Parse); }),
              "E is no name of its enumeration");
}

TEST(JsonReader, BodyThatIsNoObjectIsRefused)
{
    const Json::Value none;
    EXPECT_EQ(ReasonOf([&] { CJsonReader reader(none); }), "the body is no object");
}

TEST(JsonReader, RefusesWhatNobodyTook)
{
    const Json::Value json = JsonUtil::ParseObject(R"({"Known":"a","Typo":1})");
    CJsonReader reader(json);
    reader.Text("Known");
    EXPECT_EQ(ReasonOf([&] { reader.RefuseOthers(); }), "Typo is not known here");
}

TEST(JsonReader, OptionalMembersMayBeAbsentButNotOfAnotherType)
{
    const Json::Value json = JsonUtil::ParseObject(R"({"T":1})");
    CJsonReader reader(json);
    EXPECT_EQ(reader.OptionalText("Absent"), std::nullopt);
    EXPECT_EQ(reader.OptionalBool("Absent"), std::nullopt);
    EXPECT_EQ(reader.OptionalInteger("Absent", 0, 1), std::nullopt);
    EXPECT_EQ(ReasonOf([&] { reader.OptionalText("T"); }), "T is no string");
}

TEST(JsonReader, EnumeratorIsANameOrAnyNumber)
{
    const Json::Value json =
        JsonUtil::ParseObject(R"({"Name":"EConnectorStateCharging","Number":13,"Negative":-1})");
    CJsonReader reader(json);
    EXPECT_EQ(reader.Enumerator<ipc::EConnectorState>("Name", &ipc::EConnectorState_Parse), 11);
    EXPECT_EQ(reader.Enumerator<ipc::EConnectorState>("Number", &ipc::EConnectorState_Parse), 13);
    EXPECT_EQ(reader.Enumerator<ipc::EConnectorState>("Negative", &ipc::EConnectorState_Parse), -1);
}
