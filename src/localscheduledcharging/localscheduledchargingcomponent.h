/// The weekly charging schedule.
///
/// CChargingScheduleManager holds the schedule and its file and knows which limit holds when.
/// CScheduleExecutor asks it once a minute and hands a changed limit on. CLocalScheduledChargingComponent is
/// what the rest of the process sees of the two.
#pragma once

#include <memory>

class IChargingScheduleManager;
class IScheduleExecutor;

namespace Json
{
class Value;
}

/// The station's own limit of the charging current by weekday and time of day: the schedule, and what applies
/// it while it is enabled.
///
/// A schedule is an object of weekdays, "Monday" to "Sunday", each an array of segments {"StartTime": seconds
/// since local midnight, "CurrentLimit": mA that hold from there on}. A day that is left out has the default.
///
/// Threads: any.
class ILocalScheduledChargingComponent
{
public:
    ILocalScheduledChargingComponent() = default;
    ILocalScheduledChargingComponent(const ILocalScheduledChargingComponent&) = delete;
    ILocalScheduledChargingComponent& operator=(const ILocalScheduledChargingComponent&) = delete;
    ILocalScheduledChargingComponent(ILocalScheduledChargingComponent&&) = delete;
    ILocalScheduledChargingComponent& operator=(ILocalScheduledChargingComponent&&) = delete;

    /// Loads the stored schedule; once, before all else. Always true.
    /// @throws Json::Exception if a stored segment can't be read
    virtual bool Init() = 0;

    /// Applies the schedule from now on, or from when the system's time is synchronised.
    /// @return false if that can't be, since the component isn't wired up
    virtual bool Enable() = 0;

    /// Ends that, and lifts the limit. Does so too when the schedule isn't applied.
    virtual void Disable() = 0;

    /// Stores a schedule in place of the present one. It is applied from the next full minute on.
    /// @return false if @p schedule isn't one: the present one stays
    /// @throws Json::Exception if it isn't even an object, std::runtime_error if it can't be stored
    virtual bool WriteSchedule(const Json::Value& schedule) = 0;

    /// The present schedule.
    virtual Json::Value ReadSchedule() = 0;

    virtual ~ILocalScheduledChargingComponent() = default;
};

/// The component of a station that may charge by a schedule of its own.
class CLocalScheduledChargingComponent : public ILocalScheduledChargingComponent
{
public:
    /// @param executor  asks @p manager for the limits
    CLocalScheduledChargingComponent(std::unique_ptr<IChargingScheduleManager> manager,
                                     std::unique_ptr<IScheduleExecutor> executor);
    ~CLocalScheduledChargingComponent() override;
    CLocalScheduledChargingComponent(const CLocalScheduledChargingComponent&) = delete;
    CLocalScheduledChargingComponent& operator=(const CLocalScheduledChargingComponent&) = delete;
    CLocalScheduledChargingComponent(CLocalScheduledChargingComponent&&) = delete;
    CLocalScheduledChargingComponent& operator=(CLocalScheduledChargingComponent&&) = delete;

    bool Init() override;
    bool Enable() override;
    void Disable() override;
    bool WriteSchedule(const Json::Value& schedule) override;
    Json::Value ReadSchedule() override;

private:
    // Constant after construction; the executor goes first
    const std::unique_ptr<IChargingScheduleManager> manager;
    const std::unique_ptr<IScheduleExecutor> executor;
};
