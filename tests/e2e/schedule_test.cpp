#include <json/value.h>
#include <json/writer.h>

#include <signal.h>
#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>

#include "tests/e2e/stationtest.h"
#include "tests/support/jsontext.h"

using testing::HasSubstr;

namespace
{

constexpr const char* Route = "/config/scheduledcharging/schedules";
constexpr const char* File = "local_charging_schedules";
constexpr int LocalScheduledCharging = 12;

std::string Text(const Json::Value& value)
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

/// The same limit at any time of the week.
Json::Value Always(unsigned limit)
{
    Json::Value schedule(Json::objectValue);
    for (const char* weekday : {"Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday", "Sunday"})
    {
        Json::Value segment(Json::objectValue);
        segment["StartTime"] = 0;
        segment["CurrentLimit"] = limit;
        schedule[weekday].append(segment);
    }
    return schedule;
}

SHttpResponse Ask(const std::string& method, const std::string& path, const std::string& body = {})
{
    return HttpRequest(RestPort, method, path, LoggedInWithJson, body);
}

int Switch(bool on)
{
    return Ask("PATCH",
               "/config/user",
               std::string(R"({"ScheduledChargingEnable": )") + (on ? "true" : "false") + "}")
        .status;
}

/// A station whose system time is synchronised from the start.
class Schedule : public StationTest
{
protected:
    Schedule()
    {
        program = WEBBACKEND_WITH_CLOCK_STATE;
        setenv("STATION_CLOCK", clock.c_str(), 1);
        SynchroniseTime();
    }

    void SynchroniseTime() const { root.Write("run/synchronised", ""); }

    /// Waits for a limit of the schedule that comes after the call with this number. @return it in mA
    std::int64_t AwaitLimit(std::uint64_t after) const
    {
        const Json::Value request = station.AwaitCall("CurrentControl", "SetLimit", after)["Request"];
        EXPECT_EQ(request["Source"], LocalScheduledCharging) << request;
        return request["Limit"].asInt64();
    }

    void AwaitClearing(std::uint64_t after) const
    {
        const Json::Value request = station.AwaitCall("CurrentControl", "ClearLimit", after)["Request"];
        EXPECT_EQ(request["Source"], LocalScheduledCharging) << request;
        EXPECT_TRUE(request["Limit"].isNull()) << request;
    }

    unsigned Calls(const std::string& operation) const
    {
        return station.Calls("CurrentControl", operation).size();
    }

    const std::string clock = root.Root() + "run/synchronised";
};

} // namespace

TEST_F(Schedule, PostedScheduleIsReadBackAndOutlivesTheProcess)
{
    StartAll();
    EXPECT_EQ(Text(Parse(Ask("GET", Route).body)), Text(Always(32000)));
    const std::string unsorted = R"({"Monday":[{"CurrentLimit":16000,"StartTime":64800},)"
                                 R"({"CurrentLimit":10000,"StartTime":28800}],"Sunday":[]})";

    const SHttpResponse response = Ask("POST", Route, unsorted);

    EXPECT_EQ(response.status, 204);
    EXPECT_EQ(response.body, "");
    EXPECT_EQ(Text(root.Stored(File)), unsorted);
    Json::Value expected = Always(32000);
    expected["Monday"] =
        Parse(R"([{"CurrentLimit":10000,"StartTime":28800},{"CurrentLimit":16000,"StartTime":64800}])");
    expected["Sunday"] = Json::arrayValue;
    const SHttpResponse read = Ask("GET", Route);
    EXPECT_EQ(read.status, 200);
    EXPECT_EQ(Text(Parse(read.body)), Text(expected));
    ExpectCleanEnd();

    StartProcess();
    station.AwaitProcessState(ReportEnabled);
    EXPECT_EQ(Ask("GET", Route).body, read.body);
    ExpectCleanEnd();
}

TEST_F(Schedule, BadScheduleIsRefusedAndTheOneInForceStays)
{
    StartAll();
    EXPECT_EQ(Ask("POST", Route, Text(Always(10000))).status, 204);

    for (const std::string body : {R"({"monday": []})",
                                   R"({"Friday": [{"StartTime": 86400, "CurrentLimit": 1}]})",
                                   R"({"Friday": [{"StartTime": -1, "CurrentLimit": 1}]})",
                                   R"({"Friday": [{"StartTime": 10.5, "CurrentLimit": 1}]})",
                                   R"({"Friday": [{"StartTime": 0, "CurrentLimit": 4294967296}]})",
                                   R"({"Friday": [5]})",
                                   R"({"Friday": [null]})"})
    {
        const SHttpResponse response = Ask("POST", Route, body);
        EXPECT_EQ(response.status, 400) << body;
        EXPECT_EQ(response.body, "\"\\\"Bad request. Invalid schedule.\\\"\"\n") << body;
    }
    EXPECT_EQ(Ask("POST", Route, "").status, 400);
    EXPECT_EQ(Ask("POST", Route, "{\"Monday\"").status, 400);
    EXPECT_EQ(Ask("POST", Route, "[]").status, 500);
    EXPECT_EQ(HttpRequest(RestPort, "POST", Route, {{"Content-Type", "application/json"}}, "{}").status, 401);

    EXPECT_EQ(Text(Parse(Ask("GET", Route).body)), Text(Always(10000)));
    EXPECT_EQ(Text(root.Stored(File)), Text(Always(10000)));
    ExpectCleanEnd();
}

TEST_F(Schedule, SwitchingItOnSendsTheLimitAndOffClearsIt)
{
    StartAll();
    Ask("POST", Route, Text(Always(10000)));
    EXPECT_EQ(Calls("SetLimit"), 0U);

    for (int round = 0; round < 2; ++round)
    {
        std::uint64_t before = station.LastCall();
        EXPECT_EQ(Switch(true), 200);
        EXPECT_EQ(AwaitLimit(before), 10000);
        EXPECT_EQ(station.Get("/station").body["Limits"]["ECurrentControlLocalScheduledCharging"], 10000);

        before = station.LastCall();
        EXPECT_EQ(Switch(false), 200);
        AwaitClearing(before);
        EXPECT_FALSE(
            station.Get("/station").body["Limits"].isMember("ECurrentControlLocalScheduledCharging"));
    }
    EXPECT_EQ(Calls("SetLimit"), 2U);
    ExpectCleanEnd();
}

TEST_F(Schedule, IsAppliedWhileTheProcessIsEnabled)
{
    root.SetDefault("settings", "ScheduledChargingEnable", true);
    root.Write("data/config/local_charging_schedules.json", Text(Always(9000)));
    StartStationWithManualController();
    StartProcess();
    station.AwaitProcessState(ReportUninitialized);
    EXPECT_EQ(Control("disable"), 0);
    station.AwaitProcessState(ReportDisabled);
    EXPECT_EQ(Calls("SetLimit"), 0U);

    EXPECT_EQ(Control("enable"), 0);
    EXPECT_EQ(AwaitLimit(0), 9000);
    station.AwaitProcessState(ReportEnabled);
    EXPECT_EQ(Control("disable"), 0);
    AwaitClearing(0);

    // another process switches it off; the servers' failure to start again comes after the components' start
    station.AwaitProcessState(ReportDisabled);
    root.Write("data/config/settings.json", R"({"ScheduledChargingEnable": false})");
    StartRestServerAgain();
    EXPECT_EQ(Calls("SetLimit"), 1U);
    ExpectCleanEnd();
}

TEST_F(Schedule, IsAppliedAgainByAnEnableThatFails)
{
    root.SetDefault("settings", "ScheduledChargingEnable", true);
    StartStationWithManualController();
    StartProcess();
    station.AwaitProcessState(ReportUninitialized);
    EXPECT_EQ(Control("disable"), 0);
    station.AwaitProcessState(ReportDisabled);
    EXPECT_EQ(Control("enable"), 0);
    AwaitLimit(0);
    station.AwaitProcessState(ReportEnabled);
    EXPECT_EQ(Control("disable"), 0);
    AwaitClearing(0);
    station.AwaitProcessState(ReportDisabled);
    const std::uint64_t before = station.LastCall();

    StartRestServerAgain();

    AwaitLimit(before);
    ExpectCleanEnd();
    // nothing but the end of "Enabled" stops it in order
    EXPECT_TRUE(station.Calls("CurrentControl", "ClearLimit", before).empty());
}

TEST_F(Schedule, LimitIsClearedWhenTheProcessEnds)
{
    root.SetDefault("settings", "ScheduledChargingEnable", true);
    StartAll();
    EXPECT_EQ(AwaitLimit(0), 32000);

    ExpectCleanEnd();

    AwaitClearing(0);
}

TEST_F(Schedule, WaitsForTheSystemsTime)
{
    std::filesystem::remove(clock);
    StartAll();
    Ask("POST", Route, Text(Always(10000)));
    EXPECT_EQ(Switch(true), 200);
    EXPECT_TRUE(process->AwaitErrorLine("System time not yet synced"));
    EXPECT_EQ(Calls("SetLimit"), 0U);

    SynchroniseTime();

    EXPECT_EQ(AwaitLimit(0), 10000);
    ExpectCleanEnd();
}

TEST_F(Schedule, CurrentControlOutOfReachIsLoggedAndHoldsNothingUp)
{
    StartAll();
    station.Post("/service", R"({"Service": "CurrentControl", "State": "down"})");

    EXPECT_EQ(Switch(true), 200);

    EXPECT_TRUE(
        process->AwaitErrorLine("Cannot communicate with CurrentControl, error: CurrentControl.SetLimit"));
    ExpectCleanEnd();
}

TEST_F(Schedule, HungCurrentControlHoldsUpNeitherTheRequestNorTheEnd)
{
    StartAll();
    station.Post("/service", R"({"Service": "CurrentControl", "State": "hung"})");

    EXPECT_EQ(Switch(true), 200);

    ExpectCleanEnd();
}

TEST_F(Schedule, DoesNotExistWhereASettingDoesNotAllowIt)
{
    for (const std::string setting : {"LocalSmartChargingAllowed", "ScheduledChargingAllowed"})
    {
        simulator.reset();
        root.SetDefault("settings", "LocalSmartChargingAllowed", true);
        root.SetDefault("settings", "ScheduledChargingAllowed", true);
        root.SetDefault("settings", setting, false);
        StartAll();

        const SHttpResponse response = Ask("GET", Route);
        EXPECT_EQ(response.status, 404) << setting;
        EXPECT_EQ(response.body, "\"Not Found\"\n") << setting;
        EXPECT_EQ(Ask("POST", Route, Text(Always(10000))).status, 404) << setting;
        EXPECT_EQ(Switch(true), 200) << setting;
        ExpectCleanEnd();

        EXPECT_EQ(Calls("SetLimit"), 0U) << setting;
        EXPECT_EQ(Calls("ClearLimit"), 0U) << setting;
    }
}

TEST_F(Schedule, StoredSegmentThatCantBeReadEndsTheStart)
{
    root.Write("data/config/local_charging_schedules.json",
               R"({"Monday": [{"StartTime": "noon", "CurrentLimit": 1}]})");

    StartProcess();

    EXPECT_EQ(process->AwaitEnd().signal, SIGABRT);
    EXPECT_THAT(process->Errors(), HasSubstr("Value is not convertible to UInt."));
}
