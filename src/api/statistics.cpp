#include "src/api/statistics.h"

#include "src/api/jsonresponse.h"
#include "src/statistics/historystatisticscomponent.h"
#include "src/statistics/sessionstatisticscomponent.h"

#include "platform/log/log.h"

#include <utility>

namespace Resources
{

CStatisticsApi::CStatisticsApi(std::shared_ptr<CSessionStatisticsComponent> sessionStatistics,
                               std::shared_ptr<CHistoryStatisticsComponent> historyStatistics)
    : sessionStatistics(std::move(sessionStatistics))
    , historyStatistics(std::move(historyStatistics))
{
    LOG_ENTRY(CStatisticsApi, "CStatisticsApi");
}

CStatisticsApi::Response CStatisticsApi::GetSessionStatistics()
{
    LOG_ENTRY(CStatisticsApi, "GetSessionStatistics");
    return std::make_shared<JsonResponse>(sessionStatistics->ReadSessionStatistics());
}

CStatisticsApi::Response CStatisticsApi::GetHistoryStatistics()
{
    LOG_ENTRY(CStatisticsApi, "GetHistoryStatistics");
    return std::make_shared<JsonResponse>(historyStatistics->ReadHistoryStatistics());
}

} // namespace Resources
