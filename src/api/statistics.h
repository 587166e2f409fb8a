#pragma once

#include <memory>

class CHistoryStatisticsComponent;
class CSessionStatisticsComponent;

namespace httpserver
{
class http_response;
}

namespace Resources
{

/// Handlers of the routes below /statistics.
/// Threads: any, several at the same time.
class CStatisticsApi
{
public:
    using Response = std::shared_ptr<httpserver::http_response>;

    CStatisticsApi(std::shared_ptr<CSessionStatisticsComponent> sessionStatistics,
                   std::shared_ptr<CHistoryStatisticsComponent> historyStatistics);

    /// 200 with CSessionStatisticsComponent::ReadSessionStatistics.
    Response GetSessionStatistics();

    /// 200 with CHistoryStatisticsComponent::ReadHistoryStatistics.
    Response GetHistoryStatistics();

private:
    // Constant after construction
    const std::shared_ptr<CSessionStatisticsComponent> sessionStatistics;
    const std::shared_ptr<CHistoryStatisticsComponent> historyStatistics;
};

} // namespace Resources
