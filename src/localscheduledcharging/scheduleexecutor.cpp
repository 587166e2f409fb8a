#include "src/localscheduledcharging/scheduleexecutor.h"

#include "src/localscheduledcharging/chargingschedulemanager.h"
#include "src/localscheduledcharging/localtime.h"

#include "platform/log/log.h"

#include <utility>

using std::chrono::nanoseconds;
using std::chrono::seconds;

namespace
{

constexpr seconds CheckPeriod{60};

/// The period of a single call.
constexpr seconds Once{0};

/// From 1 to 60 seconds, by the local time.
seconds UntilNextMinute(std::chrono::system_clock::time_point now)
{
    return seconds(60) - seconds(LocalTime(now).tm_sec);
}

} // namespace

CScheduleExecutor::CScheduleExecutor(IChargingScheduleManager& manager,
                                     nanoseconds timeSyncRetryInterval,
                                     Toolbox::SystemClock clock,
                                     std::shared_ptr<IWorkerClock> workerClock)
    : manager(manager)
    , timeSyncRetryInterval(timeSyncRetryInterval)
    , clock(std::move(clock))
    , worker(std::move(workerClock), "schedule")
{
    worker.Start();
}

CScheduleExecutor::~CScheduleExecutor()
{
    worker.Stop();
}

int CScheduleExecutor::Start()
{
    const std::lock_guard lock(mutex);
    LOG_ENTRY(CScheduleExecutor, "Start");
    if (!setCurrentLimit || !clearCurrentLimit || !isTimeSynced)
    {
        LOG_ERROR("One of the callback is not set");
        return CallbackIsMissing;
    }
    if (IsChecking())
    {
        return Runs;
    }
    // what waits for the time or for the full minute begins anew
    EndPlanning();
    BeginPlanning();
    if (StartWhenTimeSynced())
    {
        return Runs;
    }
    LOG_INFO("System time not yet synced, periodical sync check is scheduled. Local scheduled charging will "
             "be started once the system time is synced.");
    return WaitsForTime;
}

void CScheduleExecutor::Stop()
{
    const std::lock_guard lock(mutex);
    LOG_ENTRY(CScheduleExecutor, "Stop");
    EndPlanning();
    {
        const std::lock_guard stateLock(stateMutex);
        lastLimit.reset();
    }
    LOG_INFO("Local scheduled charging is stopped.");
    if (clearCurrentLimit)
    {
        clearCurrentLimit();
    }
}

void CScheduleExecutor::SetCurrentLimitCallback(std::function<bool(std::uint32_t limit)> callback)
{
    setCurrentLimit = std::move(callback);
}

void CScheduleExecutor::SetClearCurrentLimitCallback(std::function<bool()> callback)
{
    clearCurrentLimit = std::move(callback);
}

void CScheduleExecutor::SetTimeSyncedCallback(std::function<bool()> callback)
{
    isTimeSynced = std::move(callback);
}

void CScheduleExecutor::UpdateCurrentLimitation()
{
    LOG_ENTRY(CScheduleExecutor, "UpdateCurrentLimitation");
    const std::uint32_t limit = manager.GetCurrentLimit(std::chrono::time_point_cast<seconds>(clock()));
    if (IsNews(limit))
    {
        setCurrentLimit(limit);
    }
}

bool CScheduleExecutor::StartWhenTimeSynced()
{
    LOG_ENTRY(CScheduleExecutor, "StartWhenTimeSynced");
    if (!isTimeSynced())
    {
        LOG_DEBUG("Systemtime is not yet synced, wait for {} second and check again.",
                  std::chrono::duration_cast<seconds>(timeSyncRetryInterval).count());
        Plan(timeSyncCall, timeSyncRetryInterval, Once, [this] { StartWhenTimeSynced(); });
        return false;
    }
    LOG_INFO("System time synced, start local scheduled charging");
    UpdateCurrentLimitation();
    const seconds delay = UntilNextMinute(clock());
    LOG_INFO("Periodic charging schedule checking will start in {} seconds", delay.count());
    Plan(startCheckCall, delay, Once, [this] { SchedulePeriodicCheck(); });
    return true;
}

void CScheduleExecutor::SchedulePeriodicCheck()
{
    LOG_DEBUG("Scheduling periodic current limitation check");
    Plan(periodicCheckCall, seconds(0), CheckPeriod, [this] { UpdateCurrentLimitation(); });
}

void CScheduleExecutor::Plan(std::shared_ptr<CWorkerCall>& handle,
                             nanoseconds delay,
                             nanoseconds period,
                             const std::function<void()>& call)
{
    const std::lock_guard lock(stateMutex);
    if (mayPlan)
    {
        handle = worker.AddCall(call, worker.Now() + delay, period);
    }
}

bool CScheduleExecutor::IsChecking() const
{
    const std::lock_guard lock(stateMutex);
    return periodicCheckCall != nullptr;
}

void CScheduleExecutor::BeginPlanning()
{
    const std::lock_guard lock(stateMutex);
    mayPlan = true;
}

void CScheduleExecutor::EndPlanning()
{
    {
        const std::lock_guard lock(stateMutex);
        mayPlan = false;
        periodicCheckCall.reset();
        startCheckCall.reset();
        timeSyncCall.reset();
    }
    worker.Sync();
}

bool CScheduleExecutor::IsNews(std::uint32_t limit)
{
    const std::lock_guard lock(stateMutex);
    return std::exchange(lastLimit, limit) != limit;
}
