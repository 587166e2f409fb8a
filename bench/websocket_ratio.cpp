/// The event server beside bare servers of the same library, in turn: what an event of 300 bytes costs that
/// goes to 1, 10, 100 and 500 subscribers, and how long a subscriber waits for its first event.
///
/// Each server has a process of its own, whose standard output, where the library's access log goes, is
/// /dev/null. All clients are in this process. Goals: 0.8 of the frames that the bare server with the same
/// access log sends in a second of processor time, at 100 subscribers; the first event in 1.2 of its time.
///
///     websocket_ratio [SUBSCRIBERS...]
#include <fcntl.h>
#include <sched.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bench/eventservers.h"
#include "bench/framecounter.h"
#include "bench/ratio.h"

namespace
{

using Clock = std::chrono::steady_clock;

constexpr std::uint16_t FirstPort = 18084;
constexpr int StateDescriptor = 3;
constexpr std::chrono::seconds Patience{20};
constexpr std::chrono::milliseconds RoundTime{200};
constexpr int Rounds = 15;
constexpr int Subscriptions = 2000;

/// Frames that a burst makes.
constexpr std::size_t BurstFrames = 5000;

/// Of a burst; ours disconnects clients for whom more than 1 MiB waits.
constexpr std::size_t MaxBurstEvents = 1000;

struct SServerName
{
    EEventServer kind;
    const char* text;
};

constexpr std::array<SServerName, 4> Servers{{{EEventServer::BareSilent, "bare, access log off"},
                                              {EEventServer::Bare, "bare, access log as ours"},
                                              {EEventServer::Ours, "ours"},
                                              {EEventServer::OursWithSessions, "ours, 20 sessions"}}};
constexpr std::size_t BareSilent = 0;
constexpr std::size_t Bare = 1;

/// A server's process.
class CServerProcess
{
public:
    explicit CServerProcess(EEventServer kind);
    ~CServerProcess();
    CServerProcess(const CServerProcess&) = delete;
    CServerProcess& operator=(const CServerProcess&) = delete;
    CServerProcess(CServerProcess&&) = delete;
    CServerProcess& operator=(CServerProcess&&) = delete;

    void Notify(std::uint32_t events) const;

    /// Processor time of all its threads in seconds.
    double ProcessorTime() const;

    /// When it was last notified.
    Clock::time_point Notified() const { return Clock::time_point(Clock::duration(state->notified.load())); }

    std::unique_ptr<CFrameCounter> Connect(std::size_t connections) const;

private:
    std::vector<std::string> Sessions() const;

    std::uint16_t port;
    SEventServerState* state;
    int input = -1;
    pid_t pid = 0;
    clockid_t processorClock = 0;
};

SEventServerState* MapState(int file)
{
    void* memory = mmap(nullptr, sizeof(SEventServerState), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED)
    {
        throw std::runtime_error("Cannot share memory");
    }
    return static_cast<SEventServerState*>(memory);
}

CServerProcess::CServerProcess(EEventServer kind)
    : port(static_cast<std::uint16_t>(FirstPort + static_cast<int>(kind)))
{
    const int file = memfd_create("state", MFD_CLOEXEC);
    std::array<int, 2> ends{};
    if (file < 0 || ftruncate(file, sizeof(SEventServerState)) != 0 || pipe2(ends.data(), O_CLOEXEC) != 0)
    {
        throw std::runtime_error("Cannot prepare a process");
    }
    state = new (MapState(file)) SEventServerState;
    input = ends[1];

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, ends[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, file, StateDescriptor);
    std::string program = "/proc/self/exe";
    std::string serve = "serve";
    std::string kindText = std::to_string(static_cast<int>(kind));
    std::string portText = std::to_string(port);
    std::array<char*, 5> arguments{program.data(), serve.data(), kindText.data(), portText.data(), nullptr};
    if (posix_spawn(&pid, program.c_str(), &actions, nullptr, arguments.data(), environ) != 0 ||
        clock_getcpuclockid(pid, &processorClock) != 0)
    {
        throw std::runtime_error("Cannot start a server");
    }
    posix_spawn_file_actions_destroy(&actions);
    close(ends[0]);
    close(file);
}

CServerProcess::~CServerProcess()
{
    close(input);
    waitpid(pid, nullptr, 0);
    munmap(state, sizeof(SEventServerState));
}

void CServerProcess::Notify(std::uint32_t events) const
{
    if (write(input, &events, sizeof(events)) != sizeof(events))
    {
        throw std::runtime_error("Cannot notify");
    }
}

double CServerProcess::ProcessorTime() const
{
    timespec time{};
    clock_gettime(processorClock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

std::vector<std::string> CServerProcess::Sessions() const
{
    std::vector<std::string> sessions;
    for (const auto& session : state->sessions)
    {
        if (session[0] != '\0')
        {
            sessions.emplace_back(session.data());
        }
    }
    return sessions;
}

std::unique_ptr<CFrameCounter> CServerProcess::Connect(std::size_t connections) const
{
    const Clock::time_point end = Clock::now() + Patience;
    while (true)
    {
        try
        {
            // the sessions are known once somebody listens
            CFrameCounter(port, 1, {});
            return std::make_unique<CFrameCounter>(port, connections, Sessions());
        }
        catch (const std::runtime_error&)
        {
            if (Clock::now() > end)
            {
                throw;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

/// What the rounds of one server have shown.
struct SFigures
{
    std::vector<double> framesPerSecond;
    std::vector<double> framesPerProcessorSecond;
    /// From the notification to the last delivery, in microseconds.
    std::vector<double> deliveries;
};

/// Has events notified, @p batch at once, the next ones when all have been delivered.
void RunRound(const CServerProcess& server,
              CFrameCounter& clients,
              std::size_t subscribers,
              std::size_t batch,
              SFigures& figures)
{
    const Clock::time_point begin = Clock::now();
    const double processorBegin = server.ProcessorTime();
    Clock::time_point now = begin;
    double frames = 0;
    while (now - begin < RoundTime)
    {
        server.Notify(static_cast<std::uint32_t>(batch));
        clients.Await(subscribers * batch);
        now = Clock::now();
        frames += static_cast<double>(subscribers * batch);
        figures.deliveries.push_back(
            std::chrono::duration<double, std::micro>(now - server.Notified()).count());
    }
    figures.framesPerSecond.push_back(frames / std::chrono::duration<double>(now - begin).count());
    figures.framesPerProcessorSecond.push_back(frames / (server.ProcessorTime() - processorBegin));
}

double MedianRatio(const std::vector<double>& values, const std::vector<double>& reference)
{
    std::vector<double> ratios;
    for (std::size_t i = 0; i < values.size(); ++i)
    {
        ratios.push_back(values[i] / reference[i]);
    }
    return Median(ratios);
}

double Worst(const std::vector<double>& values)
{
    return *std::max_element(values.begin(), values.end());
}

void PrintFigures(const std::array<SFigures, Servers.size()>& figures, bool oneByOne)
{
    constexpr double frames = 100000;
    for (std::size_t i = 0; i < Servers.size(); ++i)
    {
        const SFigures& own = figures[i];
        std::printf("  %-26s %9.0f %8.3f s  %9.3f %9.3f",
                    Servers[i].text,
                    Median(own.framesPerSecond),
                    frames / Median(own.framesPerProcessorSecond),
                    MedianRatio(own.framesPerProcessorSecond, figures[Bare].framesPerProcessorSecond),
                    MedianRatio(own.framesPerProcessorSecond, figures[BareSilent].framesPerProcessorSecond));
        if (oneByOne)
        {
            std::printf("  %9.0f %9.0f us", Median(own.deliveries), Worst(own.deliveries));
        }
        std::printf("\n");
    }
}

using Processes = std::array<std::unique_ptr<CServerProcess>, Servers.size()>;
using Clients = std::array<std::unique_ptr<CFrameCounter>, Servers.size()>;

void MeasureEvents(const Processes& processes, Clients& clients, std::size_t subscribers, std::size_t batch)
{
    std::array<SFigures, Servers.size()> figures;
    SFigures unused;
    for (int round = -1; round < Rounds; ++round)
    {
        for (std::size_t i = 0; i < Servers.size(); ++i)
        {
            RunRound(*processes[i], *clients[i], subscribers, batch, round < 0 ? unused : figures[i]);
        }
    }
    PrintFigures(figures, batch == 1);
}

/// The servers with fresh clients who have subscribed. The bytes of all servers must be the same, or the
/// comparison means nothing.
Clients Subscribe(const Processes& processes, std::size_t subscribers)
{
    Clients clients;
    std::string expected;
    for (std::size_t i = 0; i < Servers.size(); ++i)
    {
        clients[i] = processes[i]->Connect(subscribers);
        clients[i]->SendAll(SubscribeRequest);
        clients[i]->Await(subscribers * 2);
        const std::string bytes = clients[i]->TakeFirstBytes();
        if (i > 0 && bytes != expected)
        {
            throw std::runtime_error("The servers' frames differ:\n" + expected + "\n" + bytes);
        }
        expected = bytes;
    }
    return clients;
}

void MeasureSubscribers(std::size_t subscribers)
{
    Processes processes;
    for (std::size_t i = 0; i < Servers.size(); ++i)
    {
        processes[i] = std::make_unique<CServerProcess>(Servers[i].kind);
    }
    Clients clients = Subscribe(processes, subscribers);

    const std::size_t burst = std::min(BurstFrames / subscribers, MaxBurstEvents);
    std::printf("\n%zu subscribers, one event at a time\n", subscribers);
    MeasureEvents(processes, clients, subscribers, 1);
    std::printf("%zu subscribers, %zu events at once\n", subscribers, burst);
    MeasureEvents(processes, clients, subscribers, burst);
}

/// Keeps this process and those that it starts on one processor: where the scheduler would have them run
/// shows more in so short a time than what the servers do.
class COneProcessor
{
public:
    COneProcessor()
    {
        sched_getaffinity(0, sizeof(all), &all);
        cpu_set_t one;
        CPU_ZERO(&one);
        for (std::size_t processor = 0; CPU_COUNT(&one) == 0; ++processor)
        {
            if (CPU_ISSET(processor, &all))
            {
                CPU_SET(processor, &one);
            }
        }
        sched_setaffinity(0, sizeof(one), &one);
    }

    ~COneProcessor() { sched_setaffinity(0, sizeof(all), &all); }
    COneProcessor(const COneProcessor&) = delete;
    COneProcessor& operator=(const COneProcessor&) = delete;
    COneProcessor(COneProcessor&&) = delete;
    COneProcessor& operator=(COneProcessor&&) = delete;

private:
    cpu_set_t all{};
};

/// One client that subscribes again and again, in turn to each server.
void MeasureSubscriptions()
{
    const COneProcessor oneProcessor;
    Processes processes;
    Clients clients;
    for (std::size_t i = 0; i < Servers.size(); ++i)
    {
        processes[i] = std::make_unique<CServerProcess>(Servers[i].kind);
        clients[i] = processes[i]->Connect(1);
    }
    std::array<std::vector<double>, Servers.size()> times;
    for (int round = 0; round < Subscriptions; ++round)
    {
        for (std::size_t i = 0; i < Servers.size(); ++i)
        {
            const Clock::time_point begin = Clock::now();
            clients[i]->SendAll(SubscribeRequest);
            clients[i]->Await(2);
            times[i].push_back(std::chrono::duration<double, std::micro>(Clock::now() - begin).count());
            clients[i]->SendAll(UnsubscribeRequest);
            clients[i]->Await(1);
        }
    }

    std::printf("\nSubscribe to first event, %d times, clients and servers on one processor\n",
                Subscriptions);
    std::printf("  %-26s %9s %12s   %s\n", "", "median", "worst", "median / bare with log, / bare without");
    for (std::size_t i = 0; i < Servers.size(); ++i)
    {
        std::printf("  %-26s %6.0f us %9.0f us   %.3f %.3f\n",
                    Servers[i].text,
                    Median(times[i]),
                    Worst(times[i]),
                    MedianRatio(times[i], times[Bare]),
                    MedianRatio(times[i], times[BareSilent]));
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 4 && std::strcmp(argv[1], "serve") == 0)
    {
        ServeEvents(static_cast<EEventServer>(std::atoi(argv[2])),
                    static_cast<std::uint16_t>(std::atoi(argv[3])),
                    *MapState(StateDescriptor));
    }
    setlinebuf(stdout);
    std::vector<std::size_t> counts;
    for (int i = 1; i < argc; ++i)
    {
        counts.push_back(std::strtoul(argv[i], nullptr, 10));
    }
    if (counts.empty())
    {
        counts = {1, 10, 100, 500};
    }

    std::printf(
        "Events of %zu bytes. Bare: websocketpp alone, which sends one prepared frame to all; once with its\n"
        "access log off, once with the channels that ours has (all but frame_payload, to /dev/null).\n"
        "Medians of %d rounds, the servers in turn.\n\n"
        "  %-26s %9s %10s  %9s %9s  %9s %12s\n"
        "  %-26s %9s %10s  %19s  %22s\n",
        EventLength,
        Rounds,
        "",
        "frames/s",
        "CPU of",
        "frames/CPU s",
        "",
        "to last",
        "delivery",
        "",
        "",
        "100,000",
        "/ bare log, / silent",
        "median      worst");
    MeasureSubscriptions();
    for (const std::size_t subscribers : counts)
    {
        MeasureSubscribers(subscribers);
    }
    return EXIT_SUCCESS;
}
