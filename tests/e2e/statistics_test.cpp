#include <json/value.h>
#include <json/writer.h>

#include <signal.h>

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <thread>

#include <gmock/gmock.h>

#include "tests/e2e/stationtest.h"
#include "tests/e2e/steppedclock.h"
#include "tests/support/eventually.h"
#include "tests/support/jsontext.h"

using testing::AllOf;
using testing::Ge;
using testing::HasSubstr;
using testing::Le;

namespace
{

enum EState : int
{
    Suspended = 6,
    Finishing = 9,
    Charging = 11
};

/// Seconds of a day and of an hour.
constexpr std::time_t Day = 86400;
constexpr std::time_t Hour = 3600;

SHttpResponse Ask(const std::string& method, const std::string& path, const std::string& body = {})
{
    return HttpRequest(RestPort, method, path, LoggedInWithJson, body);
}

Json::Value Data()
{
    return Parse(Ask("GET", "/statistics/session").body)["data"];
}

Json::Value History()
{
    return Parse(Ask("GET", "/statistics/history").body);
}

std::string UtcNow()
{
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    std::string text(sizeof "0000-00-00T00:00:00Z" - 1, ' ');
    std::strftime(text.data(), text.size() + 1, "%FT%TZ", &utc);
    return text;
}

/// A station whose process has its time from a server, or not, and is in a zone where it is about noon.
class Statistics : public StationTest
{
protected:
    Statistics()
    {
        const std::time_t now = std::time(nullptr);
        const int hour = static_cast<int>(now % Day / Hour);
        // the sign of POSIX: west of Greenwich is positive
        const std::string zone = "TZ=NOON" + std::to_string(hour - 12);
        const std::time_t noon = now - (hour - 12) * Hour;
        gmtime_r(&noon, &today);

        program = WEBBACKEND_WITH_CLOCK_STATE;
        inStation = {"/usr/bin/env", zone, "STATION_CLOCK=" + (root.Path() / "run/synchronised").string()};
    }

    void SynchroniseTime() const { root.Write("run/synchronised", ""); }

    void StartAllAndListen()
    {
        StartStation();
        StartProcess({"-vvv"});
        station.AwaitProcessState(ReportEnabled);
        station.AwaitCall("SessionManager", "SubscribeConnectorState");
    }

    void SetMeter(const std::string& json) const { ASSERT_EQ(station.Post("/meter", json).status, 200); }

    /// Returns when the process has begun to handle it, and so is through with the one before.
    void SetState(EState state)
    {
        ASSERT_EQ(station.Post("/connector", R"({"State": )" + std::to_string(state) + "}").status, 200);
        ++states;
        ASSERT_TRUE(Eventually([this] { return HandledStates() >= states; })) << process->Errors();
    }

    int HandledStates() const
    {
        const std::string handler = "CHistoryStatisticsComponent::HandleSessionStateChange";
        const std::string log = process->Errors();
        int count = 0;
        for (std::size_t place = log.find(handler); place != std::string::npos;
             place = log.find(handler, place + 1))
        {
            ++count;
        }
        return count;
    }

    /// What is booked for today.
    Json::Value Today() const
    {
        const Json::Value history = History();
        const Json::Value& month = history["HistoryMonth"][0];
        EXPECT_EQ(month["Year"], today.tm_year + 1900);
        EXPECT_EQ(month["Month"], today.tm_mon + 1);
        EXPECT_EQ(month["Energy"].size(), 31U);
        const Json::Value& year = history["HistoryYear"][0];
        EXPECT_EQ(year["Year"], today.tm_year + 1900);
        EXPECT_EQ(year["Energy"].size(), 12U);
        const Json::Value energy = month["Energy"][static_cast<Json::ArrayIndex>(today.tm_mday - 1)];
        EXPECT_EQ(year["Energy"][static_cast<Json::ArrayIndex>(today.tm_mon)], energy);
        return energy;
    }

    std::tm today{};
    int states = 0;
};

} // namespace

TEST_F(Statistics, ChargeShowsInTheSessionCurve)
{
    StartAllAndListen();
    EXPECT_EQ(Data(), Json::Value(Json::arrayValue));
    SetMeter(R"({"Power": [3680, 3690, 3700]})");
    const std::string begin = UtcNow();

    SetState(Charging);
    ASSERT_TRUE(Eventually([] { return Data().size() == 1; }));
    const Json::Value first = Data()[0];
    EXPECT_THAT(first["timestamp"].asString(), AllOf(Ge(begin), Le(UtcNow())));
    EXPECT_EQ(first["averagePower"], Parse("[3680, 3690, 3700]"));
    SetState(Finishing);
    ASSERT_TRUE(Eventually([] { return Data().size() == 2; }));

    EXPECT_EQ(Data()[0], first);
    EXPECT_THAT(Data()[1]["timestamp"].asString(), AllOf(Ge(first["timestamp"].asString()), Le(UtcNow())));
    ExpectCleanEnd();
}

TEST_F(Statistics, ChargeShowsInTheHistoryAndStaysThere)
{
    SynchroniseTime();
    StartAllAndListen();
    EXPECT_TRUE(History().isNull());
    // so little that the register stands still by itself
    SetMeter(R"({"Power": [3, 2, 1], "TotalEnergy": 1000})");

    SetState(Charging);
    SetState(Suspended);
    SetMeter(R"({"TotalEnergy": 6000})");
    // the end may come upon a reading that is still young enough to be shared: then the next one books
    EXPECT_TRUE(Eventually(
        [this]
        {
            SetState(Finishing);
            return !History().isNull() && Today() == 5000;
        }));

    const Json::Value history = History();
    EXPECT_EQ(root.Stored("charging_history"), history);
    ExpectCleanEnd();
    StartProcess();
    station.AwaitProcessState(ReportEnabled);
    EXPECT_EQ(History(), history);
    EXPECT_EQ(Data(), Json::Value(Json::arrayValue)) << "the curve is in memory only";
    ExpectCleanEnd();
}

TEST_F(Statistics, ChargeWithoutSynchronisedTimeIsNotBooked)
{
    StartAllAndListen();

    SetState(Charging);
    SetState(Finishing);

    EXPECT_TRUE(process->AwaitErrorLine("NTP is not synced history update will not be executed"));
    EXPECT_EQ(Ask("GET", "/statistics/history").body, "null\n");
    ExpectCleanEnd();
}

TEST_F(Statistics, AreTakenWhileTheProcessIsDisabled)
{
    StartStationWithManualController();
    StartProcess({"-vvv"});
    station.AwaitProcessState(ReportUninitialized);
    station.AwaitCall("SessionManager", "SubscribeConnectorState");
    EXPECT_EQ(Control("disable"), 0);
    station.AwaitProcessState(ReportDisabled);

    SetState(Charging);
    SetState(Finishing);
    EXPECT_EQ(Control("enable"), 0);
    station.AwaitProcessState(ReportEnabled);

    EXPECT_TRUE(Eventually([] { return Data().size() == 2; }));
    ExpectCleanEnd();
}

TEST_F(Statistics, OfAStationWithoutAMeterAreEmpty)
{
    root.SetDefault("hwinfo", "HwHasMeter", false);
    SynchroniseTime();
    StartStation();
    StartProcess();
    station.AwaitProcessState(ReportEnabled);
    EXPECT_TRUE(process->AwaitErrorLine("Session statistics Component is constructed without a meter"));
    EXPECT_TRUE(process->AwaitErrorLine("History statistics component is constructed without a meter"));
    ASSERT_EQ(station.Post("/connector", R"({"State": 11})").status, 200);
    ASSERT_EQ(station.Post("/connector", R"({"State": 9})").status, 200);

    EXPECT_EQ(Ask("GET", "/statistics/session").body, "{\n\t\"data\" : []\n}\n");
    EXPECT_EQ(Ask("GET", "/statistics/history").body, "null\n");
    EXPECT_EQ(station.Calls("MeterService", "GetMeterData").size(), 0U);
    ExpectCleanEnd();
}

TEST_F(Statistics, DoNotHoldUpTheEndWhileTheMeterHangs)
{
    StartAllAndListen();
    ASSERT_EQ(station.Post("/service", R"({"Service": "MeterService", "State": "hung"})").status, 200);
    SetState(Suspended);
    ASSERT_EQ(station.Post("/connector", R"({"State": 11})").status, 200);
    EXPECT_TRUE(process->AwaitErrorLine("CSessionStatisticsComponent::PollMeterData"));

    EXPECT_EQ(Data(), Json::Value(Json::arrayValue));
    ExpectCleanEnd();
}

TEST_F(Statistics, MeterThatIsAwayLeavesTheNextChargesAlone)
{
    StartAllAndListen();
    ASSERT_EQ(station.Post("/service", R"({"Service": "MeterService", "State": "down"})").status, 200);
    ASSERT_EQ(station.Post("/connector", R"({"State": 11})").status, 200);
    EXPECT_TRUE(process->AwaitErrorLine("MeterService.GetMeterData"));

    ASSERT_EQ(station.Post("/service", R"({"Service": "MeterService", "State": "up"})").status, 200);
    EXPECT_TRUE(Eventually(
        [this]
        {
            station.Post("/connector", R"({"State": 11})");
            return Data().size() == 1;
        }));
    ExpectCleanEnd();
}

// -------------------------------------------------------------------------------------------- sudden end

// Clocks that step are left to the builds without a sanitizer
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
namespace
{

/// What each killed process had to book.
constexpr int KilledCharge = 1000;

class KilledStatistics : public Statistics
{
protected:
    using Moment = std::chrono::steady_clock::time_point;

    KilledStatistics() { SynchroniseTime(); }

    /// Starts a process, which finds what the one before has left, and charges up to right before the end.
    void ChargeAgain()
    {
        const std::uint64_t lastCall = station.LastCall();
        const std::size_t reports = ReportedStates().size();
        // a minute ago; it stands still, and so no reading is young enough to be shared but within a step
        clock.reset();
        clock.emplace((root.Path() / "run/time").string(),
                      std::chrono::system_clock::now() - std::chrono::minutes(1));
        StartProcess({"-vv"});
        station.Get("/controller?state=3&wait=20&after=" + std::to_string(reports));
        station.AwaitCall("SessionManager", "SubscribeConnectorState", lastCall);
        EXPECT_EQ(History(),
                  root.Stored("charging_history").empty() ? Json::Value() : root.Stored("charging_history"));
        states = 0;
        SetTotal(total);
        SetState(Charging);
        SetState(Suspended);
        // in this order: once the time has moved, anything may read the meter
        total += KilledCharge;
        SetTotal(total);
        clock->Advance(std::chrono::seconds(30));
    }

    /// @return when the state had been sent
    Moment EndCharge() const
    {
        EXPECT_EQ(station.Post("/connector", R"({"State": 9})").status, 200);
        return std::chrono::steady_clock::now();
    }

    void Kill()
    {
        process->Signal(SIGKILL);
        EXPECT_EQ(process->AwaitEnd().signal, SIGKILL);
    }

    /// The history with one more charge in the cell of today, or of this month.
    Json::Value Booked(Json::Value history, const std::string& key) const
    {
        const bool isMonth = key == "HistoryMonth";
        Json::Value& element = history[key][0];
        const auto index = static_cast<Json::ArrayIndex>(isMonth ? today.tm_mday - 1 : today.tm_mon);
        element["Energy"][index] = element["Energy"][index].asInt() + KilledCharge;
        return history;
    }

    std::optional<CSteppedClock> clock;

private:
    void SetTotal(int wattHours) const { SetMeter(R"({"TotalEnergy": )" + std::to_string(wattHours) + "}"); }

    int total = 5000;
};

} // namespace

TEST_F(KilledStatistics, AtTheEndOfAChargeLeaveAWholeHistory)
{
    constexpr int Rounds = 20;
    StartStation();
    SetMeter(R"({"Power": [0, 0, 0]})");
    // how long a booking takes here
    ChargeAgain();
    const Moment sent = EndCharge();
    ASSERT_TRUE(Eventually([this] { return root.Stored("charging_history").isMember("HistoryYear"); }));
    EXPECT_EQ(Today(), KilledCharge);
    const auto duration = std::chrono::steady_clock::now() - sent;
    Kill();

    for (int round = 0; round < Rounds; ++round)
    {
        const Json::Value before = root.Stored("charging_history");
        const Json::Value between = Booked(before, "HistoryMonth");
        const Json::Value after = Booked(between, "HistoryYear");
        ChargeAgain();

        const Moment end = EndCharge() + duration * round / Rounds;
        while (std::chrono::steady_clock::now() < end)
        {
            std::this_thread::yield();
        }
        Kill();

        EXPECT_THAT(root.Stored("charging_history"), testing::AnyOf(before, between, after)) << round;
    }

    // the last one of all books, whatever they left
    const Json::Value before = root.Stored("charging_history");
    ChargeAgain();
    EndCharge();
    const Json::Value after = Booked(Booked(before, "HistoryMonth"), "HistoryYear");
    EXPECT_TRUE(Eventually([&] { return root.Stored("charging_history") == after; }));
    process->Signal(SIGINT);
    EXPECT_EQ(process->AwaitEnd().status, 0) << process->Errors();
}

#endif

// ------------------------------------------------------------------------------------------ current slider

TEST_F(Statistics, CurrentSliderArrivesAtTheCurrentControl)
{
    StartAll();
    ASSERT_EQ(Ask("PATCH", "/config/user", R"({"UserDefinedChargeLimitCurrent": 16})").status, 200);
    EXPECT_EQ(station.Calls("CurrentControl", "SetLimit").size(), 0U);

    const SHttpResponse response = Ask("POST", "/charging/current-slider");

    EXPECT_EQ(response.status, 204);
    EXPECT_EQ(response.body, "");
    EXPECT_EQ(station.AwaitCall("CurrentControl", "SetLimit")["Request"],
              Parse(R"({"Source": 14, "Limit": 16000})"));
    ExpectCleanEnd();
}

TEST_F(Statistics, CurrentSliderThatIsNotAllowedSendsNothing)
{
    root.SetDefault("settings", "UserDefinedChargeLimitCurrentAllowed", false);
    StartAll();

    EXPECT_EQ(Ask("POST", "/charging/current-slider").status, 204);

    EXPECT_EQ(station.Calls("CurrentControl", "SetLimit").size(), 0U);
    ExpectCleanEnd();
}

TEST_F(Statistics, CurrentSliderWithoutTheServiceIsASuccessAllTheSame)
{
    StartAll();
    ASSERT_EQ(station.Post("/service", R"({"Service": "CurrentControl", "State": "down"})").status, 200);

    EXPECT_EQ(Ask("POST", "/charging/current-slider").status, 204);

    EXPECT_TRUE(
        process->AwaitErrorLine("Cannot communicate with CurrentControl, error: CurrentControl.SetLimit"));
    ExpectCleanEnd();
}
