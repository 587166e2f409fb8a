#pragma once

#include "platform/toolbox/systemclock.h"
#include "platform/worker/worker.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

class IChargingScheduleManager;

/// Applies the charging schedule: hands its limit on at the start, and then each full minute if it has
/// changed.
///
/// Threads: any, but for the callbacks, which are set before all else.
class IScheduleExecutor
{
public:
    /// What Start gives.
    enum EStarted : int
    {
        CallbackIsMissing = 0,
        WaitsForTime = 1,
        Runs = 2
    };

    IScheduleExecutor() = default;
    IScheduleExecutor(const IScheduleExecutor&) = delete;
    IScheduleExecutor& operator=(const IScheduleExecutor&) = delete;
    IScheduleExecutor(IScheduleExecutor&&) = delete;
    IScheduleExecutor& operator=(IScheduleExecutor&&) = delete;

    /// Hands on the present limit and begins to check at the next full minute, or, as long as the system's
    /// time isn't synchronised, waits for that and then does so. Does nothing once the checks have begun;
    /// before that it begins anew.
    /// @return an EStarted
    virtual int Start() = 0;

    /// Ends that, and has the limit cleared. Waits for a check that is under way, so that no limit is handed
    /// on after it has been cleared. Clears it also when nothing was started.
    virtual void Stop() = 0;

    /// What takes a limit in mA. Its result isn't looked at: a limit that it refuses isn't handed on again.
    virtual void SetCurrentLimitCallback(std::function<bool(std::uint32_t limit)> callback) = 0;

    /// What clears the limit.
    virtual void SetClearCurrentLimitCallback(std::function<bool()> callback) = 0;

    /// What tells whether the system's time is synchronised.
    virtual void SetTimeSyncedCallback(std::function<bool()> callback) = 0;

    /// Hands on the limit of now, unless it is the one that was handed on last.
    virtual void UpdateCurrentLimitation() = 0;

    virtual ~IScheduleExecutor() = default;
};

/// The checks, on a worker of its own. The callbacks run there and on the threads of Start and Stop.
class CScheduleExecutor : public IScheduleExecutor
{
public:
    /// @param manager                is asked for the limits, and outlives the executor
    /// @param timeSyncRetryInterval  between two looks whether the time is synchronised
    /// @param clock                  the time of day
    /// @param workerClock            of the worker
    CScheduleExecutor(IChargingScheduleManager& manager,
                      std::chrono::nanoseconds timeSyncRetryInterval,
                      Toolbox::SystemClock clock = &std::chrono::system_clock::now,
                      std::shared_ptr<IWorkerClock> workerClock = CreateSteadyWorkerClock());

    /// Ends the checks and waits for one that is under way; the limit stays as it is.
    ~CScheduleExecutor() override;
    CScheduleExecutor(const CScheduleExecutor&) = delete;
    CScheduleExecutor& operator=(const CScheduleExecutor&) = delete;
    CScheduleExecutor(CScheduleExecutor&&) = delete;
    CScheduleExecutor& operator=(CScheduleExecutor&&) = delete;

    int Start() override;
    void Stop() override;
    void SetCurrentLimitCallback(std::function<bool(std::uint32_t limit)> callback) override;
    void SetClearCurrentLimitCallback(std::function<bool()> callback) override;
    void SetTimeSyncedCallback(std::function<bool()> callback) override;
    void UpdateCurrentLimitation() override;

private:
    bool StartWhenTimeSynced();
    void SchedulePeriodicCheck();

    /// Puts a call in the place of the one that @p handle holds, unless the executor was stopped meanwhile.
    void Plan(std::shared_ptr<CWorkerCall>& handle,
              std::chrono::nanoseconds delay,
              std::chrono::nanoseconds period,
              const std::function<void()>& call);

    bool IsChecking() const;
    void BeginPlanning();

    /// No call is planned any more, and none under way, when it returns.
    void EndPlanning();

    /// Takes the limit down. @return whether it is another than the last one
    bool IsNews(std::uint32_t limit);

    // Constant after construction
    IChargingScheduleManager& manager;
    const std::chrono::nanoseconds timeSyncRetryInterval;
    const Toolbox::SystemClock clock;

    // Constant after the first Start
    std::function<bool(std::uint32_t limit)> setCurrentLimit;
    std::function<bool()> clearCurrentLimit;
    std::function<bool()> isTimeSynced;

    // held by one Start or Stop at a time, over the callbacks too: who stops waits for who starts. The
    // worker's calls never take it.
    std::mutex mutex;

    mutable std::mutex stateMutex;

    // Guarded by stateMutex
    bool mayPlan = false;
    std::shared_ptr<CWorkerCall> periodicCheckCall;
    std::shared_ptr<CWorkerCall> startCheckCall;
    std::shared_ptr<CWorkerCall> timeSyncCall;
    std::optional<std::uint32_t> lastLimit;

    // last, so that its thread ends before what its calls use
    CWorker worker;
};
