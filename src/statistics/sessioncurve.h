#pragma once

#include "src/statistics/plannedcall.h"

#include "contracts/meter.h"
#include "platform/toolbox/systemclock.h"

#include <json/value.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

/// What CSessionStatisticsComponent records, and how. Held by a std::shared_ptr, which its calls on the
/// worker and the component's listener share: it lives as long as one of them is under way. Log lines bear
/// the component's name.
///
/// Threads: any. The meter is read under no lock. End not on the worker's own.
class CSessionCurve : public std::enable_shared_from_this<CSessionCurve>
{
public:
    /// As CSessionStatisticsComponent's.
    CSessionCurve(std::shared_ptr<IMeter> meter,
                  std::shared_ptr<CWorker> worker,
                  std::chrono::seconds pollPeriod,
                  std::chrono::seconds bufferInterval,
                  unsigned int maxBufferSize,
                  Toolbox::SystemClock clock);

    /// Starts a new curve with the start of a charge, and ends it with the charge's end.
    void HandleSessionStateChange(const ipc::MConnectorState& message);

    /// Has the meter read every period from now on.
    void StartPeriodicUpdate();
    void StopPeriodicUpdate();

    /// Reads the meter and adds what it says to the point to come.
    void PollMeterData();

    /// Appends the point, unless there is nothing in it. With a full buffer it ends the polling instead.
    void UpdateInstantPowerBuffer();

    Json::Value ReadSessionStatistics() const;

    /// Ends the polling for good, and waits for one under way.
    void End();

private:
    using Powers = std::array<std::int32_t, 3>;

    struct SPoint
    {
        std::string timestamp;
        Powers averagePower;
    };

    void PollAndUpdate();
    bool IsPointComplete() const;

    enum class EUpdate
    {
        Appended,
        BufferFull,
        NothingPolled
    };

    /// Empties the sums into a point at the buffer's end.
    EUpdate AppendPoint(std::string timestamp);

    // Constant after construction
    const std::shared_ptr<IMeter> meter;
    const std::chrono::seconds pollPeriod;
    const std::int64_t pollsPerPoint;
    const std::size_t maxBufferSize;
    const Toolbox::SystemClock clock;

    // Has a lock of its own
    CPlannedCall periodicCall;

    mutable std::mutex mutex;

    // Guarded by mutex
    std::deque<SPoint> points;
    std::int32_t pollCount = 0;
    Powers sums{};
};
