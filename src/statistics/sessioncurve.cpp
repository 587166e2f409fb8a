#include "src/statistics/sessioncurve.h"

#include "src/statistics/sessionstatisticscomponent.h"

#include "platform/log/log.h"

#include <algorithm>
#include <ctime>
#include <iomanip>
#include <sstream>
#include <utility>

namespace
{

/// How many values a reading must have for more than the first one to count.
constexpr int AllPhases = 3;

std::string UtcText(std::chrono::system_clock::time_point time)
{
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    std::ostringstream text;
    text << std::put_time(&utc, "%FT%TZ");
    return text.str();
}

/// Wraps around at the ends of 32 bits.
std::int32_t Sum(std::int32_t sum, std::int32_t power)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(sum) + static_cast<std::uint32_t>(power));
}

} // namespace

CSessionCurve::CSessionCurve(std::shared_ptr<IMeter> meter,
                             std::shared_ptr<CWorker> worker,
                             std::chrono::seconds pollPeriod,
                             std::chrono::seconds bufferInterval,
                             unsigned int maxBufferSize,
                             Toolbox::SystemClock clock)
    : meter(std::move(meter))
    , pollPeriod(pollPeriod)
    , pollsPerPoint(bufferInterval / pollPeriod)
    , maxBufferSize(maxBufferSize)
    , clock(std::move(clock))
    , periodicCall(std::move(worker))
{
}

void CSessionCurve::HandleSessionStateChange(const ipc::MConnectorState& message)
{
    LOG_ENTRY(CSessionStatisticsComponent, "HandleSessionStateChange");
    if (message.state() == ipc::EConnectorStateCharging)
    {
        {
            const std::lock_guard lock(mutex);
            points.clear();
        }
        PollMeterData();
        UpdateInstantPowerBuffer();
        StartPeriodicUpdate();
    }
    else if (message.state() == ipc::EConnectorStateFinishing)
    {
        StopPeriodicUpdate();
        PollMeterData();
        UpdateInstantPowerBuffer();
    }
}

void CSessionCurve::StartPeriodicUpdate()
{
    LOG_ENTRY(CSessionStatisticsComponent, "StartPeriodicUpdate");
    if (periodicCall.IsPlanned())
    {
        LOG_DEBUG("Request to start polling of session status data, but it is already running.");
    }
    const auto poll = [weak = weak_from_this()]
    {
        if (const std::shared_ptr<CSessionCurve> curve = weak.lock())
        {
            curve->PollAndUpdate();
        }
    };
    periodicCall.Plan(poll, pollPeriod, pollPeriod);
}

void CSessionCurve::StopPeriodicUpdate()
{
    LOG_ENTRY(CSessionStatisticsComponent, "StopPeriodicUpdate");
    periodicCall.Cancel();
}

void CSessionCurve::PollAndUpdate()
{
    PollMeterData();
    if (IsPointComplete())
    {
        UpdateInstantPowerBuffer();
    }
}

void CSessionCurve::PollMeterData()
{
    LOG_ENTRY(CSessionStatisticsComponent, "PollMeterData");
    if (!meter)
    {
        LOG_TRACE("No meter service available to poll.");
        return;
    }
    const ipc::MMeterData reading = meter->GetMeterData();
    const int phases = reading.power_size() < AllPhases ? std::min(reading.power_size(), 1) : AllPhases;
    const std::lock_guard lock(mutex);
    ++pollCount;
    for (int phase = 0; phase < phases; ++phase)
    {
        std::int32_t& sum = sums.at(static_cast<std::size_t>(phase));
        sum = Sum(sum, reading.power(phase));
    }
}

bool CSessionCurve::IsPointComplete() const
{
    const std::lock_guard lock(mutex);
    return pollCount >= pollsPerPoint;
}

void CSessionCurve::UpdateInstantPowerBuffer()
{
    LOG_ENTRY(CSessionStatisticsComponent, "UpdateInstantPowerBuffer");
    // before the look at the buffer: a charge that begins behind that look empties it and plans anew
    const std::uint64_t plan = periodicCall.PlanNumber();
    switch (AppendPoint(UtcText(clock())))
    {
    case EUpdate::BufferFull:
        LOG_ENTRY(CSessionStatisticsComponent, "StopPeriodicUpdate");
        periodicCall.Cancel(plan);
        break;
    case EUpdate::NothingPolled:
        LOG_TRACE("No meter polls since last buffer update");
        break;
    case EUpdate::Appended:
        break;
    }
}

CSessionCurve::EUpdate CSessionCurve::AppendPoint(std::string timestamp)
{
    const std::lock_guard lock(mutex);
    if (points.size() >= maxBufferSize)
    {
        return EUpdate::BufferFull;
    }
    if (pollCount < 1)
    {
        return EUpdate::NothingPolled;
    }
    for (std::int32_t& sum : sums)
    {
        sum /= pollCount;
    }
    points.push_back({std::move(timestamp), sums});
    sums = {};
    pollCount = 0;
    return EUpdate::Appended;
}

Json::Value CSessionCurve::ReadSessionStatistics() const
{
    Json::Value statistics;
    Json::Value& data = statistics["data"] = Json::Value(Json::arrayValue);
    const std::lock_guard lock(mutex);
    for (const SPoint& point : points)
    {
        Json::Value& element = data.append(Json::Value(Json::objectValue));
        element["timestamp"] = point.timestamp;
        for (const std::int32_t power : point.averagePower)
        {
            element["averagePower"].append(power);
        }
    }
    return statistics;
}

void CSessionCurve::End()
{
    StopPeriodicUpdate();
    periodicCall.End();
}
