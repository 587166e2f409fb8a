#include "simulator/run.h"

#include "platform/log/log.h"
#include "simulator/options.h"
#include "simulator/stationsim.h"

#include <pthread.h>
#include <signal.h>

#include <exception>
#include <iostream>

namespace Simulator
{

namespace
{

/// Keeps the signals that end the program for WaitForEnd, in all threads that are started from now on.
sigset_t BlockEndSignals()
{
    sigset_t signals{};
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

void WaitForEnd(const sigset_t& signals)
{
    int signal = 0;
    sigwait(&signals, &signal);
    LOG_INFO("Signal {}: the station ends", signal);
}

int RunStation(const SOptions& options)
{
    Log::Init("stationsim", options.isVerbose ? Log::ELogLevel::Debug : Log::ELogLevel::Info);
    const sigset_t signals = BlockEndSignals();
    // a client of the steering that went away is no reason to end
    ::signal(SIGPIPE, SIG_IGN); // NOLINT(cppcoreguidelines-pro-type-cstyle-cast): the macro's own cast
    CStationSim station(options.simulator);
    station.Start();
    WaitForEnd(signals);
    station.Stop();
    return 0;
}

} // namespace

int Run(int argumentCount, char* const* arguments)
{
    try
    {
        const SOptions options = ParseOptions(argumentCount, arguments);
        if (options.isHelpWanted)
        {
            std::cout << UsageText;
            return 0;
        }
        try
        {
            return RunStation(options);
        }
        catch (const std::exception& error)
        {
            std::cerr << "stationsim: " << error.what() << '\n';
            return 1;
        }
    }
    catch (const std::exception& error)
    {
        std::cerr << "stationsim: " << error.what() << '\n' << UsageText;
        return 2;
    }
}

} // namespace Simulator
