/// What the station remembers of its charges: the power curve of the session under way, and the energy of the
/// last months and years.
///
/// Both components learn from the session manager when a charge starts and ends, and read the meter then and
/// while it lasts. They work from construction on, the history from Init on, whether the servers run or not.
#pragma once

#include "src/services/sessionmanagernotificationproxy.h"

#include "contracts/meter.h"
#include "platform/toolbox/systemclock.h"
#include "platform/worker/worker.h"

#include <json/value.h>

#include <chrono>
#include <memory>

class CSessionCurve;

/// The power curve of the running charge session, or of the last one: averages over a fixed interval, in
/// memory only. A charge that starts or resumes begins a new curve. One that fills the buffer keeps its
/// beginning.
///
/// Threads: ReadSessionStatistics on any. The session's states come in on the thread that delivers them, and
/// the meter is read there and on the worker's. The destructor runs on neither of the two, and waits for a
/// reading that is under way on the worker's.
class CSessionStatisticsComponent
{
public:
    /// @param meter           null on a station without one: then there is never a point
    /// @param pollPeriod      between two readings; not zero
    /// @param bufferInterval  what one point covers
    /// @param maxBufferSize   the most points
    CSessionStatisticsComponent(const std::shared_ptr<IMeter>& meter,
                                const std::shared_ptr<CSessionManagerNotificationProxy>& notifications,
                                const std::shared_ptr<CWorker>& worker,
                                std::chrono::seconds pollPeriod,
                                std::chrono::seconds bufferInterval,
                                unsigned int maxBufferSize,
                                Toolbox::SystemClock clock = &std::chrono::system_clock::now);
    ~CSessionStatisticsComponent();
    CSessionStatisticsComponent(const CSessionStatisticsComponent&) = delete;
    CSessionStatisticsComponent& operator=(const CSessionStatisticsComponent&) = delete;
    CSessionStatisticsComponent(CSessionStatisticsComponent&&) = delete;
    CSessionStatisticsComponent& operator=(CSessionStatisticsComponent&&) = delete;

    /// {"data": [{"timestamp": "2024-05-01T12:00:00Z", "averagePower": [W, W, W]}, …]}, oldest first; the
    /// powers in the meter's order, 0 for phases that it doesn't tell.
    Json::Value ReadSessionStatistics() const;

private:
    // Constant after construction
    const std::shared_ptr<CSessionCurve> curve;
    std::shared_ptr<CSessionManagerNotificationProxy::Listener> listener;
};
