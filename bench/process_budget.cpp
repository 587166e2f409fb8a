/// Start time, memory, wake-ups and stop time of the process with all services up:
///     process_budget WEBBACKEND STATIONSIM STATION
/// with the two programs and the directory of the station's default files. In a network of its own, since the
/// ports are fixed. Goals: first answer within 40 ms of the start; when enabled and idle at most 12 MiB of
/// proportional set size and 3 wake-ups a second over all threads; the end within 1 s of a SIGINT.
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bench/keepaliveclient.h"
#include "bench/processstatus.h"

namespace
{

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr std::uint16_t RestPort = 8080;
constexpr std::uint16_t SteeringPort = 8090;
constexpr int Starts = 21;
constexpr std::chrono::seconds Settling{10};
constexpr std::chrono::seconds IdleTime{60};
constexpr std::chrono::microseconds PollPause{200};
constexpr std::chrono::seconds Patience{20};

const std::string HealthRequest = "GET /system/health HTTP/1.1\r\nHost: localhost\r\n\r\n";
const std::string StationRequest = "GET /station HTTP/1.1\r\nHost: localhost\r\n\r\n";

class CProcess
{
public:
    explicit CProcess(std::vector<std::string> command)
    {
        std::vector<char*> arguments;
        for (std::string& word : command)
        {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        if (posix_spawn(&pid, arguments[0], nullptr, nullptr, arguments.data(), environ) != 0)
        {
            throw std::runtime_error("Cannot start " + command[0]);
        }
    }

    ~CProcess()
    {
        if (pid != 0)
        {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
    }

    CProcess(const CProcess&) = delete;
    CProcess& operator=(const CProcess&) = delete;
    CProcess(CProcess&&) = delete;
    CProcess& operator=(CProcess&&) = delete;

    /// @return how long the end took
    Milliseconds Interrupt()
    {
        const Clock::time_point begin = Clock::now();
        int status = 0;
        kill(pid, SIGINT);
        waitpid(pid, &status, 0);
        pid = 0;
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        {
            throw std::runtime_error("The process did not end with status 0");
        }
        return Clock::now() - begin;
    }

    pid_t Id() const { return pid; }

private:
    pid_t pid = 0;
};

void AwaitAnswer(std::uint16_t port, const std::string& request)
{
    const Clock::time_point end = Clock::now() + Patience;
    while (true)
    {
        try
        {
            CKeepAliveClient(port, request).RoundTrip();
            return;
        }
        catch (const std::runtime_error&)
        {
            if (Clock::now() > end)
            {
                throw;
            }
        }
        std::this_thread::sleep_for(PollPause);
    }
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void MeasureStarts(const std::vector<std::string>& command)
{
    std::vector<double> starts;
    std::vector<double> stops;
    for (int round = 0; round < Starts; ++round)
    {
        const Clock::time_point begin = Clock::now();
        CProcess webbackend(command);
        AwaitAnswer(RestPort, HealthRequest);
        starts.push_back(Milliseconds(Clock::now() - begin).count());
        stops.push_back(webbackend.Interrupt().count());
    }
    std::printf("start to first answer   median %.1f ms, worst %.1f ms of %d (goal 40 ms)\n",
                Median(starts),
                *std::max_element(starts.begin(), starts.end()),
                Starts);
    std::printf("SIGINT to end           median %.1f ms, worst %.1f ms (goal 1000 ms)\n",
                Median(stops),
                *std::max_element(stops.begin(), stops.end()));
}

void MeasureIdle(const std::vector<std::string>& command)
{
    CProcess webbackend(command);
    AwaitAnswer(RestPort, HealthRequest);
    std::this_thread::sleep_for(Settling);

    const long before = ProcessStatus::VoluntarySwitches(webbackend.Id());
    std::this_thread::sleep_for(IdleTime);
    const long wakeUps = ProcessStatus::VoluntarySwitches(webbackend.Id()) - before;

    std::printf("idle, %ld threads        %.2f wake-ups a second over %lld s (goal 3)\n",
                ProcessStatus::Threads(webbackend.Id()),
                static_cast<double>(wakeUps) / static_cast<double>(IdleTime.count()),
                static_cast<long long>(IdleTime.count()));
    std::printf("proportional set size   %.2f MiB (goal 12 MiB)\n",
                static_cast<double>(ProcessStatus::ProportionalSetKiB(webbackend.Id())) / 1024);
    webbackend.Interrupt();
}

void MakeRoot(const std::filesystem::path& root, const std::filesystem::path& station)
{
    std::filesystem::copy(station, root, std::filesystem::copy_options::recursive);
    std::filesystem::create_directories(root / "run");
    std::filesystem::create_directories(root / "data/config");
    std::filesystem::create_directories(root / "data/log");
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4)
    {
        std::fprintf(stderr, "usage: process_budget WEBBACKEND STATIONSIM STATION\n");
        return EXIT_FAILURE;
    }
    std::string root = "/tmp/wbXXXXXX";
    if (mkdtemp(root.data()) == nullptr)
    {
        return EXIT_FAILURE;
    }
    MakeRoot(root, argv[3]);

    CProcess simulator({argv[2], "-r", root + "/"});
    AwaitAnswer(SteeringPort, StationRequest);
    const std::vector<std::string> command{argv[1], "-q", "-r", root + "/"};
    MeasureStarts(command);
    MeasureIdle(command);
    simulator.Interrupt();

    std::filesystem::remove_all(root);
    return EXIT_SUCCESS;
}
