#pragma once

#include "src/services/sessionmanagernotificationproxy.h"

#include "contracts/meter.h"
#include "platform/config/tarnconfig.h"
#include "platform/toolbox/systemclock.h"
#include "platform/worker/worker.h"

#include <json/value.h>

#include <chrono>
#include <functional>
#include <memory>

class CEnergyHistory;

/// The charged energy of each day of the last months and of each month of the last years, in the
/// configuration "charging_history".
///
/// Energy is booked when a charge ends and, while one runs, each night at 23:59:59 local time, so that a
/// session over midnight is split. It is the difference of the meter's total energy register to its last
/// reading, in the register's unit. While the system's time isn't synchronised nothing is booked: what was
/// charged until then is booked with what follows in the same session, and is lost with its end.
///
/// A booking writes the file twice, first the months and then the years; each time it is whole. One that
/// fails, be it at the meter, at the contents of the file or at its writing, throws to the worker, which then
/// plans no further night, or to who delivers the session's states.
///
/// Threads: ReadHistoryStatistics on any. The session's states come in on the thread that delivers them, the
/// nightly call runs on the worker's. The destructor runs on neither of the two, and waits for a nightly call
/// that is under way.
class CHistoryStatisticsComponent
{
public:
    /// @param meter          null on a station without one: then nothing is ever booked
    /// @param historyConfig  the configuration "charging_history"
    /// @param maxMonths      how many months to keep behind the newest
    /// @param maxYears       how many years to keep behind the newest
    CHistoryStatisticsComponent(const std::shared_ptr<IMeter>& meter,
                                std::shared_ptr<CSessionManagerNotificationProxy> notifications,
                                const std::shared_ptr<TarnConfig>& historyConfig,
                                const std::shared_ptr<CWorker>& worker,
                                unsigned int maxMonths,
                                unsigned int maxYears,
                                Toolbox::SystemClock clock = &std::chrono::system_clock::now);
    ~CHistoryStatisticsComponent();
    CHistoryStatisticsComponent(const CHistoryStatisticsComponent&) = delete;
    CHistoryStatisticsComponent& operator=(const CHistoryStatisticsComponent&) = delete;
    CHistoryStatisticsComponent(CHistoryStatisticsComponent&&) = delete;
    CHistoryStatisticsComponent& operator=(CHistoryStatisticsComponent&&) = delete;

    /// Begins to book. Once, during the assembly.
    /// @param isTimeSynced  whether the system's time can be trusted; any thread
    void Init(const std::function<bool()>& isTimeSynced);

    /// {"HistoryMonth": [{"Year": 2024, "Month": 1 to 12, "Energy": [31 integers, by day]}, …],
    ///  "HistoryYear": [{"Year": 2024, "Energy": [12 integers, by month]}, …]}, as they are on file; null if
    /// neither is.
    Json::Value ReadHistoryStatistics() const;

private:
    // Constant after construction
    const bool hasMeter;
    const std::shared_ptr<CSessionManagerNotificationProxy> notifications;
    const std::shared_ptr<CEnergyHistory> history;

    // Constant after Init
    std::shared_ptr<CSessionManagerNotificationProxy::Listener> listener;
};
