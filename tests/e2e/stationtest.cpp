#include "tests/e2e/stationtest.h"

#include <signal.h>

#include <stdexcept>
#include <thread>

#include "tests/support/privatenetwork.h"

namespace
{

const auto* const network = testing::AddGlobalTestEnvironment(new CPrivateNetwork);

/// Sanitizers slow the end down, and leaks are looked for in it.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::chrono::milliseconds LongestEnd{8000};
#else
constexpr std::chrono::milliseconds LongestEnd{1000};
#endif

} // namespace

StationTest::StationTest()
{
    // expires in the year 2100
    root.Write("data/config/secrets.json",
               R"({"WebSessions": [{"Key": ")" + SessionKey + R"(", "Expiry": 4102444800}]})");
}

void StationTest::PutFilesInPlace()
{
    inStation = {WEBBACKEND_IN_STATION, root.Path().string()};
}

void StationTest::StartStation(const std::vector<std::string>& options)
{
    std::vector<std::string> command = inStation;
    command.insert(command.end(), {WEBBACKEND_STATIONSIM, "-r", root.Root()});
    command.insert(command.end(), options.begin(), options.end());
    simulator = std::make_unique<CChildProcess>(command);
    const auto end = std::chrono::steady_clock::now() + TestPatience;
    while (!CRawHttp::CanConnect(SteeringPort))
    {
        ASSERT_LT(std::chrono::steady_clock::now(), end) << simulator->Errors();
        std::this_thread::yield();
    }
}

void StationTest::StartStationWithManualController()
{
    StartStation({"--manual-controller"});
}

void StationTest::StartProcess(const std::vector<std::string>& options)
{
    std::vector<std::string> command = inStation;
    command.push_back(program);
    command.insert(command.end(), options.begin(), options.end());
    command.insert(command.end(), {"-r", root.Root()});
    process = std::make_unique<CChildProcess>(command);
}

void StationTest::StartAll()
{
    StartStation();
    StartProcess();
    station.AwaitProcessState(ReportEnabled);
}

int StationTest::Control(const std::string& request) const
{
    const SSteeringAnswer answer = station.Post("/controller/" + request);
    return answer.status == 200 ? answer.body["Code"].asInt() : -1;
}

void StationTest::StartRestServerAgain() const
{
    const std::size_t reported = ReportedStates().size();
    ASSERT_EQ(Control("enable"), 0);
    // the error and the way back
    AwaitStates(reported + 2);
    EXPECT_EQ(ReportedStates().back(), ReportDisabled);
}

void StationTest::ExpectCleanEnd()
{
    process->Signal(SIGINT);
    const SProcessEnd end = process->AwaitEnd();
    EXPECT_EQ(end.status, 0) << process->Errors();
    EXPECT_EQ(end.signal, 0) << process->Errors();
    EXPECT_LT(end.duration, LongestEnd);
}

std::vector<int> StationTest::ReportedStates() const
{
    std::vector<int> states;
    const Json::Value controller = station.Get("/controller").body;
    for (const Json::Value& report : controller["States"])
    {
        states.push_back(report["State"].asInt());
    }
    return states;
}

std::vector<int> StationTest::AwaitStates(std::size_t count) const
{
    station.Get("/controller?after=" + std::to_string(count - 1) + "&wait=20");
    return ReportedStates();
}
