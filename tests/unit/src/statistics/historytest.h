#pragma once

#include "src/statistics/historystatisticscomponent.h"

#include "platform/config/tarnconfig.h"

#include <json/value.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "tests/support/configfiles.h"
#include "tests/support/timezone.h"
#include "tests/unit/src/statistics/chargetest.h"

/// The history of a station in Amsterdam, over a file of its own, from noon on the 1st of May 2024 on.
class HistoryTest : private CTimeZone, public ChargeTest
{
protected:
    /// Whoever looks at the time of day takes this long for it: the nightly call, which repeats within its
    /// second, would never come to an end at a standstill.
    static constexpr std::chrono::milliseconds Look{100};

    static constexpr unsigned int MaxMonths = 6;
    static constexpr unsigned int MaxYears = 10;

    static constexpr const char* NotSynced = "NTP is not synced history update will not be executed";

    HistoryTest();

    static Time Local(int year, int month, int day, int hour = 0, int minute = 0, int second = 0);

    /// Makes the component, at a time and over the file as it is now.
    void Start(Time at = Local(2024, 5, 1, 12));
    void Start(const std::shared_ptr<TarnConfig>& config);

    void WriteFile(const std::string& json) const { files.Write("charging_history", json); }
    std::string File() const { return files.Stored("charging_history"); }
    std::string File(const std::string& key) const { return files.Stored("charging_history", key); }

    void Count(std::int64_t energy);

    /// A whole session, which draws its energy towards its end.
    void Charge(Time from, Time to, std::int64_t energy);

    /// Energy of the days of a month, from 1, or of the months of a year; without those that have none.
    std::map<int, std::int64_t> Days(int year, int month) const;
    std::map<int, std::int64_t> Months(int year) const;

    CConfigFiles files;
    std::atomic<bool> isSynced{true};
    std::int64_t total = 1000;
    std::unique_ptr<CHistoryStatisticsComponent> component;
};
