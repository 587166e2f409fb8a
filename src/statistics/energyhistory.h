#pragma once

#include "src/statistics/plannedcall.h"

#include "contracts/meter.h"
#include "platform/config/tarnconfig.h"
#include "platform/toolbox/systemclock.h"

#include <json/value.h>

#include <cstdint>
#include <ctime>
#include <functional>
#include <memory>
#include <mutex>

/// What CHistoryStatisticsComponent books, and when. Held by a std::shared_ptr, which its calls on the worker
/// and the component's listener share: it lives as long as one of them is under way. Log lines bear the
/// component's name.
///
/// Threads: any, but for SetTimeCheck, which comes before all else, and End, which isn't for the worker's
/// own. The three locks are never held together, nor while the meter is read.
class CEnergyHistory : public std::enable_shared_from_this<CEnergyHistory>
{
public:
    /// As CHistoryStatisticsComponent's.
    CEnergyHistory(std::shared_ptr<IMeter> meter,
                   std::shared_ptr<TarnConfig> historyConfig,
                   std::shared_ptr<CWorker> worker,
                   unsigned int maxMonths,
                   unsigned int maxYears,
                   Toolbox::SystemClock clock);

    /// Without it the time counts as not synchronised.
    void SetTimeCheck(const std::function<bool()>& isTimeSynced);

    /// Takes the baseline at the start of a charge, and books at its end.
    void HandleSessionStateChange(const ipc::MConnectorState& message);

    /// Books while a session runs, and plans the same for the next 23:59:59 local time.
    /// @param firstCall  books on the present date, and not on that of twelve hours ago
    void SetNightlyUpdateCall(bool firstCall);

    /// Books what the meter has counted since the last reading on a date, whose reading this one becomes.
    /// @param time  local
    void UpdateHistoryStatistics(const std::tm& time);

    Json::Value ReadHistoryStatistics() const;

    /// Ends the nightly call for good, and waits for one under way.
    void End();

private:
    void WriteHistoryStatistics(const Json::Value& history);
    bool IsTimeSynced() const;
    std::tm PresentTime() const;
    void PlanNightlyUpdateCall();

    bool IsSessionRunning() const;
    void SetSessionRunning(bool running);

    /// @return the reading of before
    std::uint64_t ExchangeLastReading(std::uint64_t total);

    // Constant after construction
    const std::shared_ptr<IMeter> meter;
    const std::shared_ptr<TarnConfig> historyConfig;
    const unsigned int maxMonths;
    const unsigned int maxYears;
    const Toolbox::SystemClock clock;

    // Constant from the first call on
    std::function<bool()> isTimeSynced;

    // Has a lock of its own
    CPlannedCall nightlyCall;

    // Held while the file is written, so that readers see both of its keys as one booking left them
    mutable std::mutex fileMutex;

    std::mutex readingMutex;

    // Guarded by readingMutex
    std::uint64_t lastReading = 0;

    mutable std::mutex sessionMutex;

    // Guarded by sessionMutex
    bool isSessionRunning = false;
};
