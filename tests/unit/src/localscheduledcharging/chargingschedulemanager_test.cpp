#include "src/localscheduledcharging/chargingschedulemanager.h"

#include "platform/config/tarnconfig.h"
#include "platform/json/jsonutil.h"

#include <json/value.h>
#include <json/writer.h>

#include <errno.h>
#include <stdlib.h>

#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/capturedlog.h"
#include "tests/support/configfiles.h"
#include "tests/support/runtogether.h"
#include "tests/support/timezone.h"
#include "tests/unit/platform/config/faultyfilesystem.h"
#include "tests/unit/src/localscheduledcharging/schedules.h"

using testing::ElementsAre;

namespace
{

constexpr const char* File = "local_charging_schedules";

const std::vector<std::string> WeekdayNames{
    "Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};

/// The text of the schedule that has these days and else the defaults. Texts are compared, since a number
/// that was parsed is of another type than one that was set.
std::string WithDefaults(const Json::Value& days = Json::objectValue)
{
    Json::Value week(Json::objectValue);
    for (const std::string& name : WeekdayNames)
    {
        week[name].append(Segment(0U, DefaultLimit));
    }
    for (const std::string& name : days.getMemberNames())
    {
        week[name] = days[name];
    }
    return JsonUtil::WriteUnstyled(week);
}

class ChargingSchedule : public testing::Test
{
protected:
    /// @param stored  the file's contents, none if it is empty
    void Load(const std::string& stored = "")
    {
        if (!stored.empty())
        {
            files.Write(File, stored);
        }
        Open();
        manager->Init();
    }

    void Open()
    {
        config = files.Open(File);
        manager = std::make_unique<CChargingScheduleManager>(config);
    }

    void Write(const std::string& schedule) { manager->WriteSchedule(Parse(schedule)); }

    /// The text of the schedule in force.
    std::string InForce() const { return JsonUtil::WriteUnstyled(manager->ReadSchedule()); }

    const CTimeZone zone{"UTC"};
    const CConfigFiles files;
    std::shared_ptr<TarnConfig> config;
    std::unique_ptr<CChargingScheduleManager> manager;
};

/// Monday's segments begin at 08:00 and 18:00.
const std::string WorkingMonday =
    R"({"Monday":[{"CurrentLimit":10000,"StartTime":28800},{"CurrentLimit":16000,"StartTime":64800}]})";

} // namespace

// ----------------------------------------------------------------------------------------------- The limit

TEST_F(ChargingSchedule, SegmentHoldsFromTheSecondOfItsStartOn)
{
    Load(WorkingMonday);

    EXPECT_EQ(manager->GetCurrentLimit(At(Monday, 7, 59, 59)), 10000U);
    EXPECT_EQ(manager->GetCurrentLimit(At(Monday, 8)), 10000U);
    EXPECT_EQ(manager->GetCurrentLimit(At(Monday, 17, 59, 59)), 10000U);
    EXPECT_EQ(manager->GetCurrentLimit(At(Monday, 18)), 16000U);
    EXPECT_EQ(manager->GetCurrentLimit(At(Monday, 23, 59, 59)), 16000U);
}

TEST_F(ChargingSchedule, DayBeginsWithItsFirstSegmentWhateverTheDayBeforeEndedWith)
{
    Load(R"({"Monday":[{"StartTime":64800,"CurrentLimit":16000}],
             "Tuesday":[{"StartTime":21600,"CurrentLimit":8000},{"StartTime":43200,"CurrentLimit":9000}]})");

    EXPECT_EQ(manager->GetCurrentLimit(At(Monday, 23, 59, 59)), 16000U);
    EXPECT_EQ(manager->GetCurrentLimit(At(Tuesday, 0)), 8000U);
    EXPECT_EQ(manager->GetCurrentLimit(At(Tuesday, 5)), 8000U);
    EXPECT_EQ(manager->GetCurrentLimit(At(Tuesday, 12)), 9000U);
    EXPECT_EQ(manager->GetCurrentLimit(At(Wednesday, 0)), DefaultLimit);
}

TEST_F(ChargingSchedule, FirstAndLastSecondOfTheDayMayBeginASegment)
{
    Load(R"({"Sunday":[{"StartTime":86399,"CurrentLimit":2},{"StartTime":0,"CurrentLimit":1}]})");

    EXPECT_EQ(manager->GetCurrentLimit(At(Sunday, 0)), 1U);
    EXPECT_EQ(manager->GetCurrentLimit(At(Sunday, 23, 59, 58)), 1U);
    EXPECT_EQ(manager->GetCurrentLimit(At(Sunday, 23, 59, 59)), 2U);
}

TEST_F(ChargingSchedule, DayWithoutSegmentsHasTheDefaultLimit)
{
    Load(R"({"Monday":[],"Tuesday":5,"Wednesday":null,"Thursday":"text","Friday":true,"Saturday":{}})");

    for (const int weekday : {Monday, Tuesday, Wednesday, Thursday, Friday, Saturday})
    {
        EXPECT_EQ(manager->GetCurrentLimit(At(weekday, 12)), DefaultLimit) << weekday;
    }
}

TEST_F(ChargingSchedule, WeekRepeats)
{
    Load(WorkingMonday);

    const auto monday = At(Monday, 18);
    for (int week = -3000; week <= 3000; ++week)
    {
        ASSERT_EQ(manager->GetCurrentLimit(monday + week * std::chrono::hours(7 * 24)), 16000U) << week;
    }
}

TEST_F(ChargingSchedule, LimitMayBeAnyNumberOf32Bits)
{
    Load(R"({"Monday":[{"StartTime":0,"CurrentLimit":0},{"StartTime":1,"CurrentLimit":4294967295}]})");

    EXPECT_EQ(manager->GetCurrentLimit(At(Monday, 0)), 0U);
    EXPECT_EQ(manager->GetCurrentLimit(At(Monday, 0, 0, 1)), 4294967295U);
}

TEST_F(ChargingSchedule, LookUpIsLogged)
{
    Load(WorkingMonday);
    const CCapturedLog log;

    manager->GetCurrentLimit(At(Monday, 8, 1, 2));

    EXPECT_THAT(log.Messages(),
                ElementsAre(CCapturedLog::SLine{Log::ELogLevel::Debug,
                                                "Checking current at time: Mon Jan  8 08:01:02 2024 UTC"},
                            CCapturedLog::SLine{Log::ELogLevel::Debug,
                                                "weekday is: Monday, seconds of the day is : 28862"}));
}

// ------------------------------------------------------------------------------------------------ The zone

namespace
{

/// What holds on a day, by looking at every segment of it in the order of the list.
std::uint32_t SlowLimit(const Json::Value& day, unsigned secondOfDay)
{
    const Json::Value* holding = nullptr;
    const Json::Value* first = nullptr;
    for (const Json::Value& segment : day)
    {
        const unsigned start = segment["StartTime"].asUInt();
        if (first == nullptr || start < (*first)["StartTime"].asUInt())
        {
            first = &segment;
        }
        if (start <= secondOfDay && (holding == nullptr || start > (*holding)["StartTime"].asUInt()))
        {
            holding = &segment;
        }
    }
    if (first == nullptr)
    {
        return DefaultLimit;
    }
    return (holding != nullptr ? *holding : *first)["CurrentLimit"].asUInt();
}

/// Some days are left out, some have no segments, some starts occur twice.
Json::Value RandomWeek(std::mt19937& random)
{
    Json::Value week(Json::objectValue);
    for (const std::string& name : WeekdayNames)
    {
        if (random() % 8 == 0)
        {
            continue;
        }
        Json::Value& day = week[name] = Json::arrayValue;
        const unsigned segments = static_cast<unsigned>(random() % 12);
        for (unsigned segment = 0; segment < segments; ++segment)
        {
            // on a full minute or beside it, where the look-up can be one off
            const int start = static_cast<int>(random() % 1440) * 60 + static_cast<int>(random() % 3) - 1;
            day.append(Segment(start < 0 ? 0U : static_cast<unsigned>(start), random() % 64 * 1000));
            if (random() % 4 == 0)
            {
                day.append(Segment(day[day.size() - 1]["StartTime"], random() % 64 * 1000));
            }
        }
    }
    return week;
}

struct SZone
{
    std::string name;
    std::chrono::minutes offset;
};

/// The rules of Europe/Amsterdam: an hour ahead of UTC, and two from the last Sunday of March to that of
/// October.
const std::string Amsterdam = "CET-1CEST,M3.5.0,M10.5.0/3";

constexpr const char* NightsOfTheChanges = R"({"Sunday":[
    {"StartTime":0,"CurrentLimit":1},{"StartTime":7200,"CurrentLimit":2},{"StartTime":9000,"CurrentLimit":3},
    {"StartTime":10800,"CurrentLimit":4},{"StartTime":79200,"CurrentLimit":5}],
    "Saturday":[{"StartTime":0,"CurrentLimit":6}],"Monday":[{"StartTime":0,"CurrentLimit":7}]})";

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::system_clock;

} // namespace

TEST_F(ChargingSchedule, EveryMinuteOfRandomWeeksHasTheLimitOfASlowLookUp)
{
    const std::vector<SZone> zones{{"UTC", minutes(0)},
                                   {"XXX-5:30", minutes(330)},
                                   {"XXX3:30", minutes(-210)},
                                   {"XXX-14", minutes(840)},
                                   {"XXX12", minutes(-720)}};
    std::mt19937 random(20240107);
    Load();
    for (int round = 0; round < 20; ++round)
    {
        const SZone& local = zones[static_cast<std::size_t>(round) % zones.size()];
        const CTimeZone localZone(local.name);
        const Json::Value week = RandomWeek(random);
        ASSERT_TRUE(manager->ValidateSchedule(week));
        manager->WriteSchedule(week);
        for (int minute = 0; minute < 7 * 1440; ++minute)
        {
            const Json::Value& day = week[WeekdayNames[static_cast<std::size_t>(minute / 1440)]];
            const auto secondOfDay = static_cast<unsigned>(minute % 1440 * 60);
            ASSERT_EQ(manager->GetCurrentLimit(At(Sunday, 0) + minutes(minute) - local.offset),
                      SlowLimit(day, secondOfDay))
                << local.name << ", minute " << minute << ", " << week;
        }
    }
}

TEST_F(ChargingSchedule, ChangedZoneCountsFromTheNextLookUpOn)
{
    Load(WorkingMonday);
    EXPECT_EQ(manager->GetCurrentLimit(At(Monday, 17)), 10000U);

    // 18:00 there; nobody calls tzset
    setenv("TZ", "XXX-1", 1);

    EXPECT_EQ(manager->GetCurrentLimit(At(Monday, 17)), 16000U);
}

TEST_F(ChargingSchedule, HourThatIsLeftOutInSpringLeavesItsSegmentsOut)
{
    const CTimeZone amsterdam(Amsterdam);
    Load(NightsOfTheChanges);
    // Sunday, 31 March 2024, 01:00 UTC: the clock goes from 02:00 to 03:00
    const auto change = system_clock::from_time_t(1711846800);

    EXPECT_EQ(manager->GetCurrentLimit(change - hours(2) - minutes(1)), 6U);
    EXPECT_EQ(manager->GetCurrentLimit(change - hours(2)), 1U);
    EXPECT_EQ(manager->GetCurrentLimit(change - std::chrono::seconds(1)), 1U);
    for (int minute = 0; minute < 19 * 60; ++minute)
    {
        ASSERT_EQ(manager->GetCurrentLimit(change + minutes(minute)), 4U) << minute;
    }
    EXPECT_EQ(manager->GetCurrentLimit(change + hours(19)), 5U) << "22:00";
    EXPECT_EQ(manager->GetCurrentLimit(change + hours(21) - minutes(1)), 5U);
    EXPECT_EQ(manager->GetCurrentLimit(change + hours(21)), 7U) << "a day of 23 hours";
}

TEST_F(ChargingSchedule, HourThatComesTwiceInAutumnBringsItsSegmentsTwice)
{
    const CTimeZone amsterdam(Amsterdam);
    Load(NightsOfTheChanges);
    // Sunday, 27 October 2024, 01:00 UTC: the clock goes from 03:00 to 02:00
    const auto change = system_clock::from_time_t(1729990800);

    EXPECT_EQ(manager->GetCurrentLimit(change - hours(3) - minutes(1)), 6U);
    EXPECT_EQ(manager->GetCurrentLimit(change - hours(3)), 1U);
    EXPECT_EQ(manager->GetCurrentLimit(change - hours(1) - minutes(1)), 1U);
    for (const auto& hour : {change - hours(1), change})
    {
        for (int minute = 0; minute < 60; ++minute)
        {
            ASSERT_EQ(manager->GetCurrentLimit(hour + minutes(minute)), minute < 30 ? 2U : 3U) << minute;
        }
    }
    EXPECT_EQ(manager->GetCurrentLimit(change + hours(1)), 4U) << "03:00";
    EXPECT_EQ(manager->GetCurrentLimit(change + hours(22) - minutes(1)), 5U);
    EXPECT_EQ(manager->GetCurrentLimit(change + hours(22)), 7U) << "a day of 25 hours";
}

// ------------------------------------------------------------------------------------------- Check of input

TEST_F(ChargingSchedule, GoodScheduleIsAccepted)
{
    Load();
    for (
        const std::string& schedule : std::vector<std::string>{
            "{}",
            "null",
            WorkingMonday,
            R"({"Sunday":[],"Monday":[],"Tuesday":[],"Wednesday":[],"Thursday":[],"Friday":[],"Saturday":[]})",
            R"({"Monday":[{"StartTime":86399,"CurrentLimit":0}]})",
            R"({"Monday":[{"StartTime":0,"CurrentLimit":4294967295}]})",
            R"({"Monday":[{"StartTime":10.0,"CurrentLimit":1e3}]})",
            R"({"Monday":[{"StartTime":5,"CurrentLimit":1},{"StartTime":5,"CurrentLimit":2}]})",
            R"({"Monday":[{"StartTime":9,"CurrentLimit":1},{"StartTime":5,"CurrentLimit":2}]})",
            R"({"Monday":[{"StartTime":5,"CurrentLimit":1,"Comment":["more"]}]})",
            R"({"Friday":5})",
            R"({"Friday":"text"})",
            R"({"Friday":null})",
            R"({"Friday":true})",
            R"({"Friday":{"StartTime":-1}})",
        })
    {
        EXPECT_TRUE(manager->ValidateSchedule(Parse(schedule))) << schedule;
    }
}

TEST_F(ChargingSchedule, SegmentOfAnotherShapeIsRefusedAndLogged)
{
    Load();
    for (const std::string segment : {
             R"({"StartTime":86400,"CurrentLimit":1})",
             R"({"StartTime":4294967295,"CurrentLimit":1})",
             R"({"StartTime":4294967296,"CurrentLimit":1})",
             R"({"StartTime":18446744073709551616,"CurrentLimit":1})",
             R"({"StartTime":-1,"CurrentLimit":1})",
             R"({"StartTime":10.5,"CurrentLimit":1})",
             R"({"StartTime":1e300,"CurrentLimit":1})",
             R"({"StartTime":"10","CurrentLimit":1})",
             R"({"StartTime":null,"CurrentLimit":1})",
             R"({"StartTime":true,"CurrentLimit":1})",
             R"({"StartTime":[10],"CurrentLimit":1})",
             R"({"StartTime":{},"CurrentLimit":1})",
             R"({"CurrentLimit":1})",
             R"({"starttime":0,"CurrentLimit":1})",
             R"({"StartTime":0,"CurrentLimit":4294967296})",
             R"({"StartTime":0,"CurrentLimit":1e12})",
             R"({"StartTime":0,"CurrentLimit":-1})",
             R"({"StartTime":0,"CurrentLimit":0.5})",
             R"({"StartTime":0,"CurrentLimit":"1"})",
             R"({"StartTime":0,"CurrentLimit":null})",
             R"({"StartTime":0,"CurrentLimit":false})",
             R"({"StartTime":0,"CurrentLimit":[1]})",
             R"({"StartTime":0})",
             "{}",
             "[]",
             "[0,1]",
             "null",
             "0",
             "true",
             "\"text\"",
         })
    {
        const CCapturedLog log(Log::ELogLevel::Warn);
        const Json::Value value = Parse(segment);
        const Json::Value schedule = Parse(R"({"Friday":[{"StartTime":0,"CurrentLimit":1},)" +
                                           std::string(segment) + R"(,"another fault"]})");

        EXPECT_FALSE(manager->ValidateSchedule(schedule)) << segment;

        EXPECT_THAT(log.Messages(),
                    ElementsAre(CCapturedLog::SLine{Log::ELogLevel::Warn,
                                                    "Validating charging schedule, bad segment: " +
                                                        value.toStyledString()}))
            << segment;
    }
    EXPECT_EQ(InForce(), WithDefaults()) << "nothing has changed";
}

TEST_F(ChargingSchedule, KeyThatIsNoWeekdayIsRefusedAndLogged)
{
    Load();
    for (const std::string& name : {std::string("monday"),
                                    std::string("MONDAY"),
                                    std::string("Mon"),
                                    std::string(" Monday"),
                                    std::string("Mondays"),
                                    std::string("Montag"),
                                    std::string("Unknown"),
                                    std::string("1"),
                                    std::string()})
    {
        Json::Value schedule = Parse(WorkingMonday);
        schedule[name] = Json::arrayValue;
        const CCapturedLog log(Log::ELogLevel::Warn);

        EXPECT_FALSE(manager->ValidateSchedule(schedule)) << name;

        EXPECT_THAT(log.Messages(Log::ELogLevel::Warn),
                    ElementsAre("Validating charging schedule, unknown weekday: " + name));
    }
    Json::Value withZero(Json::objectValue);
    withZero[std::string("Monday\0", 7)] = Json::arrayValue;
    EXPECT_FALSE(manager->ValidateSchedule(withZero));
}

TEST_F(ChargingSchedule, FirstFaultInTheOrderOfTheKeysIsLogged)
{
    Load();
    const CCapturedLog log(Log::ELogLevel::Warn);

    EXPECT_FALSE(manager->ValidateSchedule(Parse(R"({"noday":[],"Friday":[5],"Monday":[6],"Abc":5})")));

    EXPECT_THAT(log.Messages(Log::ELogLevel::Warn),
                ElementsAre("Validating charging schedule, unknown weekday: Abc"));
}

TEST_F(ChargingSchedule, ScheduleThatIsNoObjectThrows)
{
    Load();
    for (const std::string schedule : {"[]", "[{}]", "5", "\"Monday\"", "true"})
    {
        EXPECT_THROW(manager->ValidateSchedule(Parse(schedule)), Json::LogicError) << schedule;
    }
}

TEST_F(ChargingSchedule, CheckIsTraced)
{
    Load();
    const CCapturedLog log;

    manager->ValidateSchedule(Json::objectValue);

    EXPECT_THAT(log.Messages(),
                ElementsAre(CCapturedLog::SLine{Log::ELogLevel::Trace,
                                                "CChargingScheduleManager::ValidateSchedule"}));
}

// ------------------------------------------------------------------------------------------------- Writing

TEST_F(ChargingSchedule, NewScheduleResetsTheDaysThatItLeavesOut)
{
    Load(
        R"({"Sunday":[{"StartTime":0,"CurrentLimit":6000}],"Monday":[{"StartTime":0,"CurrentLimit":7000}]})");

    Write(WorkingMonday);

    EXPECT_EQ(InForce(), WithDefaults(Parse(WorkingMonday)));
    EXPECT_EQ(manager->GetCurrentLimit(At(Sunday, 12)), DefaultLimit);
    EXPECT_EQ(manager->GetCurrentLimit(At(Monday, 18)), 16000U);
    EXPECT_EQ(files.Stored(File), WorkingMonday);
}

TEST_F(ChargingSchedule, AnswerIsInOrderAndTheFileAsItCame)
{
    const std::string asItCame =
        R"({"Friday":5,"Monday":[{"Comment":"x","CurrentLimit":3,"StartTime":20},)"
        R"({"CurrentLimit":1,"StartTime":10},{"CurrentLimit":2,"StartTime":10}],"Tuesday":[]})";
    Load();

    Write(asItCame);

    EXPECT_EQ(files.Stored(File), asItCame);
    EXPECT_EQ(InForce(),
              WithDefaults(Parse(R"({"Friday":[],"Monday":[{"CurrentLimit":1,"StartTime":10},)"
                                 R"({"CurrentLimit":3,"StartTime":20}],"Tuesday":[]})")));
    EXPECT_EQ(manager->GetCurrentLimit(At(Monday, 0, 0, 15)), 1U) << "the first of two stays";
}

TEST_F(ChargingSchedule, NewScheduleOutlivesTheProcess)
{
    Load();
    Write(WorkingMonday);
    const std::string before = InForce();

    Load();

    EXPECT_EQ(InForce(), before);
}

TEST_F(ChargingSchedule, EmptyScheduleIsTheDefault)
{
    for (const std::string schedule : {"{}", "null"})
    {
        Load(WorkingMonday);

        Write(schedule);

        EXPECT_EQ(InForce(), WithDefaults());
        EXPECT_EQ(files.Stored(File), "{}");
    }
}

TEST_F(ChargingSchedule, UpdateIsLogged)
{
    Load();
    const CCapturedLog log(Log::ELogLevel::Debug);

    Write(WorkingMonday);

    using Log::ELogLevel;
    EXPECT_THAT(log.Messages(),
                ElementsAre(CCapturedLog::SLine{ELogLevel::Debug, "Parsing schedule: 28800 second, 10000 mA"},
                            CCapturedLog::SLine{ELogLevel::Debug, "Parsing schedule: 64800 second, 16000 mA"},
                            CCapturedLog::SLine{ELogLevel::Info, "Local charging schedule is updated."}));
}

TEST_F(ChargingSchedule, ScheduleInForceIsTheFilesAfterAFailure)
{
    const std::string present = R"({"Sunday":[{"CurrentLimit":6000,"StartTime":0}]})";
    const std::string half = R"({"Friday":[{"CurrentLimit":7000,"StartTime":0}]})";
    const std::string next = R"({"Friday":[{"CurrentLimit":7000,"StartTime":0}],"Monday":[]})";
    for (const auto& [failingWrite, left] :
         {std::pair(1, present), std::pair(2, std::string("{}")), std::pair(3, half), std::pair(4, next)})
    {
        files.Write(File, present);
        const auto disk = std::make_shared<CFaultyFileSystem>();
        config = std::make_shared<TarnConfig>(
            File, files.Root(), TarnConfig::EAccess::Writable, TarnConfig::ChangeCallback(), disk);
        manager = std::make_unique<CChargingScheduleManager>(config);
        manager->Init();
        disk->Fail(CFaultyFileSystem::EStep::Rename, failingWrite, ENOSPC);

        if (failingWrite <= 3)
        {
            EXPECT_THROW(Write(next), std::runtime_error);
        }
        else
        {
            Write(next);
        }

        EXPECT_EQ(files.Stored(File), left) << failingWrite;
        EXPECT_EQ(InForce(), WithDefaults(Parse(left))) << failingWrite;
    }
}

TEST_F(ChargingSchedule, ScheduleInForceIsTheFilesWhenOnlyItsSafetyIsInDoubt)
{
    const std::string present = R"({"Sunday":[{"CurrentLimit":6000,"StartTime":0}]})";
    const std::string next = R"({"Friday":[{"CurrentLimit":7000,"StartTime":0}]})";
    // each write syncs the file and then its directory
    for (const auto& [failingSync, left] : {std::pair(2, std::string("{}")), std::pair(4, next)})
    {
        files.Write(File, present);
        const auto disk = std::make_shared<CFaultyFileSystem>();
        config = std::make_shared<TarnConfig>(
            File, files.Root(), TarnConfig::EAccess::Writable, TarnConfig::ChangeCallback(), disk);
        manager = std::make_unique<CChargingScheduleManager>(config);
        manager->Init();
        disk->Fail(CFaultyFileSystem::EStep::Sync, failingSync, EIO);

        EXPECT_THROW(Write(next), std::runtime_error);

        EXPECT_EQ(files.Stored(File), left) << failingSync;
        EXPECT_EQ(InForce(), WithDefaults(Parse(left))) << failingSync;
    }
}

TEST_F(ChargingSchedule, DayMayHaveAHundredThousandSegments)
{
    constexpr unsigned count = 100000;
    Json::Value schedule(Json::objectValue);
    for (unsigned segment = 0; segment < count; ++segment)
    {
        schedule["Monday"].append(Segment(segment % 86400, segment));
    }
    Load();

    ASSERT_TRUE(manager->ValidateSchedule(schedule));
    manager->WriteSchedule(schedule);

    EXPECT_EQ(manager->ReadSchedule()["Monday"].size(), 86400U);
    EXPECT_EQ(manager->GetCurrentLimit(At(Monday, 0)), 0U);
    EXPECT_EQ(manager->GetCurrentLimit(At(Monday, 12)), 43200U);
    EXPECT_EQ(manager->GetCurrentLimit(At(Monday, 23, 59, 59)), 86399U);
    EXPECT_EQ(config->GetValue("Monday", Json::nullValue).size(), count);
    schedule["Monday"].append(Segment(86400U, 0U));
    EXPECT_FALSE(manager->ValidateSchedule(schedule));
}

// ------------------------------------------------------------------------------------------------- Loading

TEST_F(ChargingSchedule, IsTheDefaultWithoutAFile)
{
    Load();

    EXPECT_EQ(InForce(), WithDefaults());
    EXPECT_EQ(manager->GetCurrentLimit(At(Saturday, 12)), DefaultLimit);
    EXPECT_EQ(files.Stored(File), "") << "reading writes nothing";
}

TEST_F(ChargingSchedule, IsTheDefaultUntilItIsLoaded)
{
    files.Write(File, WorkingMonday);
    Open();
    EXPECT_EQ(InForce(), WithDefaults());

    manager->Init();

    EXPECT_EQ(InForce(), WithDefaults(Parse(WorkingMonday)));
}

TEST_F(ChargingSchedule, LoadingForgetsWhatWasLoadedBefore)
{
    Load(WorkingMonday);
    files.Write(File, R"({"Tuesday":[{"CurrentLimit":1,"StartTime":0}]})");
    config->Reload();

    manager->Init();

    EXPECT_EQ(InForce(), WithDefaults(Parse(R"({"Tuesday":[{"CurrentLimit":1,"StartTime":0}]})")));
}

TEST_F(ChargingSchedule, LoadingIsLogged)
{
    files.Write(File, WorkingMonday);
    Open();
    const CCapturedLog log(Log::ELogLevel::Debug);

    manager->Init();

    using Log::ELogLevel;
    EXPECT_THAT(
        log.Messages(),
        ElementsAre(CCapturedLog::SLine{ELogLevel::Info, "Loading local charging schedule"},
                    CCapturedLog::SLine{ELogLevel::Debug, "Loading schedule for Monday"},
                    CCapturedLog::SLine{ELogLevel::Debug, "Parsing schedule: 28800 second, 10000 mA"},
                    CCapturedLog::SLine{ELogLevel::Debug, "Parsing schedule: 64800 second, 16000 mA"}));
}

TEST_F(ChargingSchedule, KeyInTheFileThatIsNoWeekdayIsShownAsUnknownAndNeverHolds)
{
    Load(R"({"Holiday":[{"CurrentLimit":1,"StartTime":0}],"monday":[{"CurrentLimit":2,"StartTime":0}]})");

    EXPECT_EQ(InForce(), WithDefaults(Parse(R"({"Unknown":[{"CurrentLimit":2,"StartTime":0}]})")))
        << "the last one in the order of the keys";
    for (const int weekday : {Sunday, Monday, Tuesday, Wednesday, Thursday, Friday, Saturday})
    {
        EXPECT_EQ(manager->GetCurrentLimit(At(weekday, 12)), DefaultLimit);
    }

    Write("{}");
    EXPECT_EQ(InForce(), WithDefaults());
}

TEST_F(ChargingSchedule, SegmentInTheFileThatCantBeReadThrows)
{
    for (const std::string segment : {R"({"StartTime":"10","CurrentLimit":1})",
                                      R"({"StartTime":-1,"CurrentLimit":1})",
                                      R"({"StartTime":4294967296,"CurrentLimit":1})",
                                      R"({"StartTime":1e300,"CurrentLimit":1})",
                                      R"({"StartTime":[],"CurrentLimit":1})",
                                      R"({"StartTime":{},"CurrentLimit":1})",
                                      R"({"StartTime":0,"CurrentLimit":"1"})",
                                      R"({"StartTime":0,"CurrentLimit":-1})",
                                      R"({"StartTime":0,"CurrentLimit":4294967296})",
                                      "[]",
                                      "5",
                                      "true",
                                      "\"text\""})
    {
        files.Write(File, R"({"Monday":[)" + std::string(segment) + "]}");
        Open();
        EXPECT_THROW(manager->Init(), Json::Exception) << segment;
    }
}

TEST_F(ChargingSchedule, SegmentInTheFileIsTakenIfItConverts)
{
    Load(
        R"({"Monday":[{"StartTime":10.5,"CurrentLimit":true}],"Tuesday":[{"StartTime":100000,"CurrentLimit":1}],
             "Wednesday":[{"CurrentLimit":5}],"Thursday":[null]})");

    EXPECT_EQ(InForce(), WithDefaults(Parse(R"({"Monday":[{"CurrentLimit":1,"StartTime":10}],
                                     "Tuesday":[{"CurrentLimit":1,"StartTime":100000}],
                                     "Wednesday":[{"CurrentLimit":5,"StartTime":0}],
                                     "Thursday":[{"CurrentLimit":0,"StartTime":0}]})")));
    EXPECT_EQ(manager->GetCurrentLimit(At(Tuesday, 12)), 1U) << "a first segment that never begins";
}

// ------------------------------------------------------------------------------------------------- Threads

TEST_F(ChargingSchedule, IsReadWholeWhileItIsWritten)
{
    constexpr int rounds = 50;
    const Json::Value one = Parse(
        R"({"Monday":[{"CurrentLimit":1,"StartTime":0}],"Tuesday":[{"CurrentLimit":1,"StartTime":0}]})");
    const Json::Value two = Parse(
        R"({"Monday":[{"CurrentLimit":2,"StartTime":0}],"Tuesday":[{"CurrentLimit":2,"StartTime":0}]})");
    Load();
    manager->WriteSchedule(one);

    RunTogether(4,
                [&](int thread)
                {
                    for (int round = 0; round < rounds; ++round)
                    {
                        if (thread < 2)
                        {
                            EXPECT_TRUE(manager->ValidateSchedule(one));
                            manager->WriteSchedule(thread == 0 ? one : two);
                        }
                        else if (thread == 2)
                        {
                            const std::string read = InForce();
                            EXPECT_TRUE(read == WithDefaults(one) || read == WithDefaults(two)) << read;
                        }
                        else
                        {
                            const std::uint32_t limit = manager->GetCurrentLimit(At(Tuesday, 1));
                            EXPECT_TRUE(limit == 1 || limit == 2) << limit;
                        }
                    }
                });

    EXPECT_EQ(InForce(), WithDefaults(Parse(files.Stored(File))));
}
