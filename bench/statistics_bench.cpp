/// The charging statistics: a booking in a full history, and what a browser's look at a full curve costs.
#include "src/services/meterdataproxy.h"
#include "src/services/sessionmanagernotificationproxy.h"
#include "src/statistics/historystatisticscomponent.h"
#include "src/statistics/sessionstatisticscomponent.h"

#include "platform/config/tarnconfig.h"

#include <stdlib.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

#include <benchmark/benchmark.h>

namespace
{

using namespace std::chrono_literals;

class CSilentSessionManager : public ISessionManager
{
public:
    ipc::MConnectorInfo GetConnectorInfo() override { return {}; }
};

/// Each reading tells of more energy. What else it answers is nothing.
class CRunningMeter : public CMeterDataProxy
{
public:
    CRunningMeter()
        : CMeterDataProxy(nullptr, 0s)
    {
        for (const std::int32_t power : {3680, 3690, 3700})
        {
            data.add_power(power);
        }
    }

    ipc::MMeterData GetMeterData() override
    {
        data.set_total_energy(data.total_energy() + 1);
        return data;
    }

private:
    ipc::MMeterData data;
};

/// What the statistics are connected to. The worker doesn't run.
struct SStation
{
    void Notify(ipc::EConnectorState state) const
    {
        ipc::MConnectorState message;
        message.set_state(state);
        sessionManager->ConnectorState(message);
    }

    const std::shared_ptr<CRunningMeter> meter = std::make_shared<CRunningMeter>();
    const std::shared_ptr<CSilentSessionManager> sessionManager = std::make_shared<CSilentSessionManager>();
    const std::shared_ptr<CSessionManagerNotificationProxy> notifications =
        std::make_shared<CSessionManagerNotificationProxy>(sessionManager);
    const std::shared_ptr<CWorker> worker = std::make_shared<CWorker>();
};

/// A directory that goes with the object.
class CRoot
{
public:
    explicit CRoot(const std::string& parent)
    {
        path = parent + "/statisticsbenchXXXXXX";
        if (mkdtemp(path.data()) == nullptr)
        {
            throw std::runtime_error("Cannot make " + path);
        }
    }

    ~CRoot() { std::filesystem::remove_all(path); }
    CRoot(const CRoot&) = delete;
    CRoot& operator=(const CRoot&) = delete;
    CRoot(CRoot&&) = delete;
    CRoot& operator=(CRoot&&) = delete;

    std::string Prefix() const { return path + "/"; }

private:
    std::string path;
};

Json::Value Element(int year, int cells)
{
    Json::Value element;
    element["Year"] = year;
    for (int cell = 0; cell < cells; ++cell)
    {
        element["Energy"].append(22000 + cell);
    }
    return element;
}

/// Seven months and eleven years: what a history grows to by the end of 2024.
void Fill(TarnConfig& history)
{
    Json::Value months;
    for (int month = 6; month <= 12; ++month)
    {
        Json::Value element = Element(2024, 31);
        element["Month"] = month;
        months.append(element);
    }
    Json::Value years;
    for (int year = 2014; year <= 2024; ++year)
    {
        years.append(Element(year, 12));
    }
    history.SetValue("HistoryMonth", months);
    history.SetValue("HistoryYear", years);
}

/// The end of a charge, whose booking is two writes of the file.
void HistoryUpdate(benchmark::State& state, const char* parent)
{
    const CRoot root(parent);
    const auto config = TarnConfig::Create("charging_history", root.Prefix());
    Fill(*config);
    // noon on the 31st of December 2024, UTC
    const std::chrono::system_clock::time_point newYearsEve(1735646400s);
    const SStation station;
    CHistoryStatisticsComponent history(
        station.meter, station.notifications, config, station.worker, 6, 10, [=] { return newYearsEve; });
    history.Init([] { return true; });
    for (auto _ : state)
    {
        station.Notify(ipc::EConnectorStateFinishing);
    }
    if (config->GetValue("HistoryMonth", {}).size() != 7 || config->GetValue("HistoryYear", {}).size() != 11)
    {
        state.SkipWithError("the history isn't full");
    }
}
BENCHMARK_CAPTURE(HistoryUpdate, Memory, "/dev/shm")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(HistoryUpdate, Disk, "/var/tmp")->Unit(benchmark::kMicrosecond);

/// A curve of a day.
void ReadSessionStatistics(benchmark::State& state)
{
    constexpr unsigned int points = 288;
    const SStation station;
    const CSessionStatisticsComponent statistics(
        station.meter, station.notifications, station.worker, 30s, 300s, points);
    for (unsigned int point = 0; point < points; ++point)
    {
        station.Notify(ipc::EConnectorStateFinishing);
    }
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(statistics.ReadSessionStatistics());
    }
    if (statistics.ReadSessionStatistics()["data"].size() != points)
    {
        state.SkipWithError("the curve isn't full");
    }
}
BENCHMARK(ReadSessionStatistics)->Unit(benchmark::kMicrosecond);

} // namespace
