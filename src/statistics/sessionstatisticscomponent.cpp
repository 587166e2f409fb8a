#include "src/statistics/sessionstatisticscomponent.h"

#include "src/statistics/sessioncurve.h"

#include "platform/log/log.h"

#include <utility>

CSessionStatisticsComponent::CSessionStatisticsComponent(
    const std::shared_ptr<IMeter>& meter,
    const std::shared_ptr<CSessionManagerNotificationProxy>& notifications,
    const std::shared_ptr<CWorker>& worker,
    std::chrono::seconds pollPeriod,
    std::chrono::seconds bufferInterval,
    unsigned int maxBufferSize,
    Toolbox::SystemClock clock)
    : curve(std::make_shared<CSessionCurve>(
          meter, worker, pollPeriod, bufferInterval, maxBufferSize, std::move(clock)))
{
    if (!meter)
    {
        LOG_WARN("Session statistics Component is constructed without a meter service. No meter data will be "
                 "included in statistics");
        return;
    }
    listener = std::make_shared<CSessionManagerNotificationProxy::Listener>(
        [curve = curve](const ipc::MConnectorState& message) { curve->HandleSessionStateChange(message); });
    notifications->AddListener(listener);
}

CSessionStatisticsComponent::~CSessionStatisticsComponent()
{
    curve->End();
}

Json::Value CSessionStatisticsComponent::ReadSessionStatistics() const
{
    return curve->ReadSessionStatistics();
}
