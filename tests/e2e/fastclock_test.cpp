#include <json/value.h>
#include <json/writer.h>

#include <signal.h>
#include <stdlib.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "tests/e2e/stationtest.h"
#include "tests/e2e/steppedclock.h"
#include "tests/support/eventually.h"
#include "tests/support/jsontext.h"

using testing::ElementsAre;
using namespace std::chrono_literals;

namespace
{

using Time = CSteppedClock::Time;

enum EState : int
{
    Available = 1,
    Finishing = 9,
    Charging = 11,
    /// power flows, and the statistics don't look at it
    ChargingToo = 12
};

constexpr int LocalScheduledCharging = 12;

/// @param text  as "2024-06-03 08:00:00", in the zone of the process
Time Local(const std::string& text)
{
    std::tm time{};
    const char* const end = strptime(text.c_str(), "%Y-%m-%d %H:%M:%S", &time);
    if (end == nullptr || *end != '\0')
    {
        throw std::runtime_error("no time: " + text);
    }
    time.tm_isdst = -1;
    return std::chrono::system_clock::from_time_t(std::mktime(&time));
}

/// As "2024-06-03 08:00:00 CEST".
std::string Text(Time time)
{
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm local{};
    localtime_r(&seconds, &local);
    std::array<char, 64> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S %Z", &local);
    return text.data();
}

/// Energy that is booked for a day.
struct SBooked
{
    int year;
    int month;
    int day;
    int energy;
};

Json::Value& Element(Json::Value& array, int year, std::optional<int> month, int size)
{
    for (Json::Value& element : array)
    {
        if (element["Year"] == year && (!month || element["Month"] == *month))
        {
            return element["Energy"];
        }
    }
    Json::Value element;
    element["Year"] = year;
    if (month)
    {
        element["Month"] = *month;
    }
    for (int index = 0; index < size; ++index)
    {
        element["Energy"].append(0);
    }
    return array.append(element)["Energy"];
}

/// The whole history of these bookings, which are in the order of their times.
Json::Value HistoryOf(const std::vector<SBooked>& bookings)
{
    Json::Value history;
    for (const SBooked& booked : bookings)
    {
        Json::Value& day = Element(history["HistoryMonth"], booked.year, booked.month, 31)[booked.day - 1];
        day = day.asInt() + booked.energy;
        Json::Value& month = Element(history["HistoryYear"], booked.year, std::nullopt, 12)[booked.month - 1];
        month = month.asInt() + booked.energy;
    }
    return history;
}

Json::Value History()
{
    return Parse(HttpRequest(RestPort, "GET", "/statistics/history", LoggedIn).body);
}

/// A station in Amsterdam whose time the test moves, from one moment at which something happens to the next:
/// days go by in seconds, whatever the machine's speed. The process and the meter have the same time.
class FastClock : public StationTest
{
protected:
    /// A limit that has arrived, and when: "2024-06-03 08:00:00 CEST 10000".
    using Limits = std::vector<std::string>;

    FastClock()
    {
        program = WEBBACKEND_WITH_CLOCK_STATE;
        setenv("STATION_CLOCK", (root.Path() / "run/synchronised").c_str(), 1);
        setenv("TZ", "Europe/Amsterdam", 1);
        tzset();
    }

    ~FastClock() override
    {
        unsetenv("STATION_CLOCK");
        unsetenv("TZ");
        tzset();
    }

    void UseSchedule(const std::string& json) const
    {
        for (const char* const setting :
             {"LocalSmartChargingAllowed", "ScheduledChargingAllowed", "ScheduledChargingEnable"})
        {
            root.SetDefault("settings", setting, true);
        }
        root.Write("data/config/local_charging_schedules.json", json);
    }

    void Begin(const std::string& time, bool isSynchronised = true)
    {
        clock.emplace((root.Path() / "run/time").string(), Local(time));
        StartStation();
        ASSERT_EQ(station.Post("/time", R"({"Factor": 0})").status, 200);
        Synchronise(isSynchronised);
        StartProcess({"-vv"});
        station.AwaitProcessState(ReportEnabled);
        station.AwaitCall("SessionManager", "SubscribeConnectorState");
    }

    /// The same with a schedule that is applied from the start, up to the next full minute.
    void BeginSchedule(const std::string& time)
    {
        Begin(time);
        ASSERT_TRUE(process->AwaitErrorLine("Periodic charging schedule checking will start in"));
        ASSERT_TRUE(clock->AwaitRest());
        NoteLimits();
        AwaitChecks();
    }

    /// The executor has planned its first check: goes there.
    void AwaitChecks()
    {
        const auto intoMinute = clock->Now().time_since_epoch() % 1min;
        Step(std::chrono::duration_cast<std::chrono::seconds>(1min - intoMinute));
        ASSERT_TRUE(process->AwaitErrorLine("Scheduling periodic current limitation check"));
        Settle();
    }

    void Synchronise(bool isSynchronised) const
    {
        const std::string body = std::string(R"({"Synchronised": )") + (isSynchronised ? "true}" : "false}");
        ASSERT_EQ(station.Post("/time", body).status, 200);
    }

    void SetDemand(const std::string& powers) const
    {
        ASSERT_EQ(station.Post("/meter", R"({"Power": )" + powers + "}").status, 200);
    }

    /// Moves the time and waits for nothing.
    void Step(std::chrono::seconds duration)
    {
        const std::string skip = std::to_string(duration.count());
        ASSERT_EQ(station.Post("/time", R"({"Skip": )" + skip + "}").status, 200);
        clock->Advance(duration);
    }

    /// Waits until all is done that is due, and notes the limits that have arrived by now.
    void Settle()
    {
        ASSERT_TRUE(clock->AwaitRest()) << Text(clock->Now());
        NoteLimits();
    }

    /// Goes on by steps that end at their multiples.
    void GoTo(const std::string& time, std::chrono::seconds step = 1h)
    {
        const Time target = Local(time);
        ASSERT_GE(target, clock->Now());
        while (clock->Now() < target && !HasFatalFailure())
        {
            const auto intoStep = clock->Now().time_since_epoch() % step;
            const auto next = std::min(target, clock->Now() + (step - intoStep));
            Step(std::chrono::duration_cast<std::chrono::seconds>(next - clock->Now()));
            Settle();
        }
    }

    /// Goes to a time at which the schedule may change the limit, and sees each minute around it.
    void Pass(const std::string& time)
    {
        const Time middle = Local(time);
        GoTo(Text(middle - 2min).substr(0, time.size()));
        GoTo(Text(middle + 2min).substr(0, time.size()), 1min);
    }

    /// Over the midnight that begins a day, with a charge under way: the booking comes in the second before,
    /// over and over, and so the process isn't at rest in it.
    void PassMidnightCharging(const std::string& day, const Json::Value& history)
    {
        const std::string midnight = day + " 00:00:00";
        GoTo(Text(Local(midnight) - 1min).substr(0, midnight.size()));
        Step(59s);
        EXPECT_TRUE(Eventually([&] { return History() == history; })) << History() << history;
        Step(1s);
        Settle();
    }

    void StartCharge()
    {
        ASSERT_NO_FATAL_FAILURE(SetState(Charging));
        SetState(ChargingToo);
    }

    void EndCharge()
    {
        SetState(Finishing);
        SetState(Available);
    }

    void EndProcess()
    {
        process->Signal(SIGINT);
        EXPECT_EQ(process->AwaitEnd().status, 0) << process->Errors();
    }

    Limits limits;
    std::optional<CSteppedClock> clock;

private:
    /// Returns when the process has begun to handle it, and so is through with the one before.
    void SetState(EState state)
    {
        ASSERT_EQ(station.Post("/connector", R"({"State": )" + std::to_string(state) + "}").status, 200);
        ++states;
        ASSERT_TRUE(Eventually([this] { return HandledStates() >= states; }));
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

    void NoteLimits()
    {
        for (const Json::Value& call : station.Calls("CurrentControl", "SetLimit", lastNoted))
        {
            lastNoted = call["Number"].asUInt64();
            EXPECT_EQ(call["Request"]["Source"], LocalScheduledCharging);
            limits.push_back(Text(clock->Now()) + " " + call["Request"]["Limit"].asString());
        }
    }

    int states = 0;
    std::uint64_t lastNoted = 0;
};

constexpr const char* SundaySchedule = R"({"Sunday": [{"StartTime": 0,     "CurrentLimit": 10000},
                                                      {"StartTime": 7200,  "CurrentLimit": 16000},
                                                      {"StartTime": 9000,  "CurrentLimit": 12000},
                                                      {"StartTime": 10800, "CurrentLimit": 20000}]})";

} // namespace

TEST_F(FastClock, WeekOfChargesAndASchedule)
{
    UseSchedule(R"({"Monday":   [{"StartTime": 28800, "CurrentLimit": 10000},
                                 {"StartTime": 64800, "CurrentLimit": 16000}],
                    "Tuesday":  [{"StartTime": 21600, "CurrentLimit": 8000}],
                    "Thursday": [{"StartTime": 0,     "CurrentLimit": 6000},
                                 {"StartTime": 43200, "CurrentLimit": 20000},
                                 {"StartTime": 43260, "CurrentLimit": 12000}],
                    "Friday":   [{"StartTime": 0,     "CurrentLimit": 12000},
                                 {"StartTime": 86399, "CurrentLimit": 7000}],
                    "Saturday": [{"StartTime": 0,     "CurrentLimit": 12000},
                                 {"StartTime": 39630, "CurrentLimit": 9000}]})");
    BeginSchedule("2024-06-02 23:30:00");
    // a vehicle that takes 32 A
    SetDemand("[7360, 7360, 7360]");

    Pass("2024-06-03 00:00:00");
    GoTo("2024-06-03 07:15:00");
    StartCharge();
    Pass("2024-06-03 08:00:00");
    Pass("2024-06-03 18:00:00");
    GoTo("2024-06-03 19:00:00");
    EndCharge();
    // three phases of 2300 W for 10.75 h, and of 3680 W for one
    std::vector<SBooked> booked{{2024, 6, 3, 74175 + 11040}};
    EXPECT_EQ(History(), HistoryOf(booked));

    Pass("2024-06-04 00:00:00");
    Pass("2024-06-04 06:00:00");
    GoTo("2024-06-04 22:00:00");
    StartCharge();
    // of 1840 W for two hours but a second: 11038.5 Wh
    booked.push_back({2024, 6, 4, 11038});
    PassMidnightCharging("2024-06-05", HistoryOf(booked));
    GoTo("2024-06-05 01:30:00", 1min);
    EndCharge();
    // the rest of two hours of 1840 W, and 7360 W for one and a half
    booked.push_back({2024, 6, 5, 2 + 33120});
    EXPECT_EQ(History(), HistoryOf(booked));

    Pass("2024-06-06 00:00:00");
    Pass("2024-06-06 12:00:00");
    Pass("2024-06-07 00:00:00");
    Pass("2024-06-08 00:00:00");
    GoTo("2024-06-08 10:00:00");
    StartCharge();
    Pass("2024-06-08 11:00:00");
    GoTo("2024-06-08 12:00:00");
    EndCharge();
    // of 2760 W for 61 minutes and of 2070 W for 59
    booked.push_back({2024, 6, 8, 14524});
    EXPECT_EQ(History(), HistoryOf(booked));

    Pass("2024-06-09 00:00:00");
    Pass("2024-06-10 00:00:00");

    EXPECT_THAT(limits,
                ElementsAre("2024-06-02 23:30:00 CEST 32000",
                            "2024-06-03 00:00:00 CEST 10000",
                            "2024-06-03 18:00:00 CEST 16000",
                            "2024-06-04 00:00:00 CEST 8000",
                            "2024-06-05 00:00:00 CEST 32000",
                            "2024-06-06 00:00:00 CEST 6000",
                            "2024-06-06 12:00:00 CEST 20000",
                            "2024-06-06 12:01:00 CEST 12000",
                            "2024-06-08 11:01:00 CEST 9000",
                            "2024-06-09 00:00:00 CEST 32000",
                            "2024-06-10 00:00:00 CEST 10000"));
    EXPECT_EQ(History(), HistoryOf(booked));
    EXPECT_EQ(root.Stored("charging_history"), HistoryOf(booked));
    EndProcess();
}

TEST_F(FastClock, ChargeOverNewYearsEveIsSplitBetweenTheYears)
{
    Begin("2024-12-31 22:00:00");
    SetDemand("[3000, 2000, 1000]");

    StartCharge();
    std::vector<SBooked> booked{{2024, 12, 31, 11998}};
    PassMidnightCharging("2025-01-01", HistoryOf(booked));
    GoTo("2025-01-01 02:00:00");
    EndCharge();

    booked.push_back({2025, 1, 1, 12002});
    EXPECT_EQ(History(), HistoryOf(booked));
    EXPECT_EQ(root.Stored("charging_history"), HistoryOf(booked));
    EndProcess();
}

TEST_F(FastClock, EnergyWithoutSynchronisedTimeIsCarriedOnInASessionAndLostWithItsEnd)
{
    Begin("2024-05-15 12:00:00", false);
    SetDemand("[3000, 2000, 1000]");

    StartCharge();
    GoTo("2024-05-15 14:00:00");
    EndCharge();
    EXPECT_EQ(History(), Json::Value());

    GoTo("2024-05-15 20:00:00");
    StartCharge();
    GoTo("2024-05-16 09:00:00");
    EXPECT_EQ(History(), Json::Value());
    Synchronise(true);
    GoTo("2024-05-16 10:00:00");
    EndCharge();

    EXPECT_EQ(History(), HistoryOf({{2024, 5, 16, 14 * 6000}}));
    EndProcess();
}

TEST_F(FastClock, ScheduleBeginsWhenTheTimeIsSynchronised)
{
    UseSchedule(R"({"Wednesday": [{"StartTime": 0, "CurrentLimit": 10000},
                                  {"StartTime": 36060, "CurrentLimit": 13000}]})");
    Begin("2024-05-15 10:00:20", false);
    ASSERT_TRUE(process->AwaitErrorLine("System time not yet synced"));

    GoTo("2024-05-15 10:00:40", 5s);
    EXPECT_THAT(limits, ElementsAre());
    Synchronise(true);
    GoTo("2024-05-15 10:00:45", 5s);
    ASSERT_TRUE(process->AwaitErrorLine("Periodic charging schedule checking will start in 15 seconds"));
    Settle();
    AwaitChecks();
    GoTo("2024-05-15 10:03:00", 1min);

    EXPECT_THAT(limits, ElementsAre("2024-05-15 10:00:45 CEST 10000", "2024-05-15 10:01:00 CEST 13000"));
    EndProcess();
}

TEST_F(FastClock, NightInWhichSummerTimeBegins)
{
    UseSchedule(SundaySchedule);
    BeginSchedule("2024-03-30 22:59:00");
    SetDemand("[1000, 1000, 1000]");

    GoTo("2024-03-30 23:00:00");
    StartCharge();
    std::vector<SBooked> booked{{2024, 3, 30, 2999}};
    PassMidnightCharging("2024-03-31", HistoryOf(booked));
    GoTo("2024-03-31 04:00:00", 1min);
    GoTo("2024-03-31 08:00:00");
    EndCharge();

    // eight hours in all
    booked.push_back({2024, 3, 31, 24000 - 2999});
    EXPECT_EQ(History(), HistoryOf(booked));
    EXPECT_THAT(limits,
                ElementsAre("2024-03-30 22:59:00 CET 32000",
                            "2024-03-31 00:00:00 CET 10000",
                            "2024-03-31 03:00:00 CEST 20000"));
    EndProcess();
}

TEST_F(FastClock, NightInWhichSummerTimeEnds)
{
    UseSchedule(SundaySchedule);
    BeginSchedule("2024-10-26 22:59:00");
    SetDemand("[1000, 1000, 1000]");

    GoTo("2024-10-26 23:00:00");
    StartCharge();
    std::vector<SBooked> booked{{2024, 10, 26, 2999}};
    PassMidnightCharging("2024-10-27", HistoryOf(booked));
    GoTo("2024-10-27 04:00:00", 1min);
    GoTo("2024-10-27 08:00:00");
    EndCharge();

    // ten hours in all
    booked.push_back({2024, 10, 27, 30000 - 2999});
    EXPECT_EQ(History(), HistoryOf(booked));
    EXPECT_THAT(limits,
                ElementsAre("2024-10-26 22:59:00 CEST 32000",
                            "2024-10-27 00:00:00 CEST 10000",
                            "2024-10-27 02:00:00 CEST 16000",
                            "2024-10-27 02:30:00 CEST 12000",
                            "2024-10-27 02:00:00 CET 16000",
                            "2024-10-27 02:30:00 CET 12000",
                            "2024-10-27 03:00:00 CET 20000"));
    EndProcess();
}
