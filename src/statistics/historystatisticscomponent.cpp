#include "src/statistics/historystatisticscomponent.h"

#include "src/statistics/energyhistory.h"

#include "platform/log/log.h"

#include <utility>

CHistoryStatisticsComponent::CHistoryStatisticsComponent(
    const std::shared_ptr<IMeter>& meter,
    std::shared_ptr<CSessionManagerNotificationProxy> notifications,
    const std::shared_ptr<TarnConfig>& historyConfig,
    const std::shared_ptr<CWorker>& worker,
    unsigned int maxMonths,
    unsigned int maxYears,
    Toolbox::SystemClock clock)
    : hasMeter(meter != nullptr)
    , notifications(std::move(notifications))
    , history(std::make_shared<CEnergyHistory>(
          meter, historyConfig, worker, maxMonths, maxYears, std::move(clock)))
{
    LOG_ENTRY(CHistoryStatisticsComponent, "CHistoryStatisticsComponent");
    if (!hasMeter)
    {
        LOG_WARN("History statistics component is constructed without a meter service. No history will be "
                 "stored");
    }
}

CHistoryStatisticsComponent::~CHistoryStatisticsComponent()
{
    history->End();
}

void CHistoryStatisticsComponent::Init(const std::function<bool()>& isTimeSynced)
{
    LOG_ENTRY(CHistoryStatisticsComponent, "Init");
    if (!hasMeter)
    {
        LOG_TRACE("No meter service available to read.");
        return;
    }
    history->SetTimeCheck(isTimeSynced);
    history->SetNightlyUpdateCall(true);
    listener = std::make_shared<CSessionManagerNotificationProxy::Listener>(
        [history = history](const ipc::MConnectorState& message)
        { history->HandleSessionStateChange(message); });
    notifications->AddListener(listener);
}

Json::Value CHistoryStatisticsComponent::ReadHistoryStatistics() const
{
    return history->ReadHistoryStatistics();
}
