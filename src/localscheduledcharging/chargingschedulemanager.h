#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

class TarnConfig;

namespace Json
{
class Value;
}

/// The weekly charging schedule: which limit of the charging current holds when.
///
/// Its JSON is an object of weekdays, "Monday" to "Sunday", each an array of segments {"StartTime": seconds
/// since local midnight, "CurrentLimit": mA that hold from there on}. A weekday that is left out has the
/// default, 32000 mA all day.
///
/// Threads: any.
class IChargingScheduleManager
{
public:
    IChargingScheduleManager() = default;
    IChargingScheduleManager(const IChargingScheduleManager&) = delete;
    IChargingScheduleManager& operator=(const IChargingScheduleManager&) = delete;
    IChargingScheduleManager(IChargingScheduleManager&&) = delete;
    IChargingScheduleManager& operator=(IChargingScheduleManager&&) = delete;

    /// Loads the stored schedule. A key that is no weekday does no harm, and nor does a day that is no array:
    /// it has no segments.
    /// @throws Json::Exception if a segment isn't one that can be read
    virtual void Init() = 0;

    /// Whether @p schedule is one that WriteSchedule takes: all its keys are weekdays, and all their segments
    /// have a start within the day and a limit, unsigned integers of 32 bits. A day that is no array has no
    /// segments, and null has no days.
    /// @throws Json::Exception if @p schedule is of another type than an object
    virtual bool ValidateSchedule(const Json::Value& schedule) = 0;

    /// Puts a valid schedule in the place of the present one, in its file too: empties that, and then writes
    /// day by day. After a failure the schedule in force is what the file has got by then.
    /// @throws std::runtime_error if the file can't be written
    virtual void WriteSchedule(const Json::Value& schedule) = 0;

    /// The present schedule with all its days, segments in the order of their starts. Of several with one
    /// start there is the first.
    virtual Json::Value ReadSchedule() = 0;

    /// The limit in mA that holds at @p now by the process's time zone: the one of the day's latest segment
    /// that has started by then, else of its first one, and the default on a day without segments. What held
    /// at the end of the day before doesn't matter.
    virtual std::uint32_t GetCurrentLimit(std::chrono::system_clock::time_point now) = 0;

    virtual ~IChargingScheduleManager() = default;
};

/// The schedule in the configuration "local_charging_schedules", which has the form of the schedule's JSON.
class CChargingScheduleManager : public IChargingScheduleManager
{
public:
    /// Has the default schedule until Init.
    explicit CChargingScheduleManager(std::shared_ptr<TarnConfig> config);

    void Init() override;
    bool ValidateSchedule(const Json::Value& schedule) override;
    void WriteSchedule(const Json::Value& schedule) override;
    Json::Value ReadSchedule() override;
    std::uint32_t GetCurrentLimit(std::chrono::system_clock::time_point now) override;

private:
    /// Takes the schedule from the file. The caller holds the mutex.
    void Load();

    /// Limits in mA by their start in seconds since midnight.
    using Day = std::map<std::uint32_t, std::uint32_t>;

    /// By the weekday's number, 0 for Sunday; 7 for what has another name.
    using Week = std::map<std::uint32_t, Day>;

    static Week DefaultSchedule();
    static Day ConvertSchedule(const Json::Value& segments);
    static std::uint32_t LimitAt(const Day& day, std::uint32_t secondOfDay);

    // Constant after construction
    const std::shared_ptr<TarnConfig> config;

    // Also held while the file is written, so that it gets the schedules in their order; who asks for the
    // limit waits for that
    std::mutex mutex;

    // Guarded by mutex
    Week schedule;
};
