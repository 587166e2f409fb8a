#include "simulator/options.h"

#include <getopt.h>

#include <array>
#include <charconv>
#include <cstring>
#include <string>

namespace Simulator
{

namespace
{

enum EOption
{
    Script = 256,
    SteerPort,
    DownloadPort,
    LogDirectory,
    Package,
    ManualController,
    TimeFactor
};

constexpr std::array LongOptions{option{"root", required_argument, nullptr, 'r'},
                                 option{"script", required_argument, nullptr, Script},
                                 option{"steer-port", required_argument, nullptr, SteerPort},
                                 option{"download-port", required_argument, nullptr, DownloadPort},
                                 option{"log-dir", required_argument, nullptr, LogDirectory},
                                 option{"package", required_argument, nullptr, Package},
                                 option{"manual-controller", no_argument, nullptr, ManualController},
                                 option{"time-factor", required_argument, nullptr, TimeFactor},
                                 option{"verbose", no_argument, nullptr, 'v'},
                                 option{"help", no_argument, nullptr, 'h'},
                                 option{nullptr, 0, nullptr, 0}};

/// @param what  that the text isn't, if it isn't
template <class Number>
Number ParseNumber(const char* text, const char* what)
{
    Number number = 0;
    const char* const end = text + std::strlen(text);
    const auto result = std::from_chars(text, end, number);
    if (result.ec != std::errc() || result.ptr != end)
    {
        throw std::runtime_error(std::string("no ") + what + ": " + text);
    }
    return number;
}

std::int32_t ParseTimeFactor(const char* text)
{
    const auto factor = ParseNumber<std::int32_t>(text, "time factor");
    if (factor < 0 || factor > GreatestTimeFactor)
    {
        throw std::runtime_error(std::string("no time factor: ") + text);
    }
    return factor;
}

void Take(int found, SOptions& options)
{
    switch (found)
    {
    case 'r':
        options.simulator.root = optarg;
        break;
    case Script:
        options.simulator.script = optarg;
        break;
    case SteerPort:
        options.simulator.steerPort = ParseNumber<std::uint16_t>(optarg, "port");
        break;
    case DownloadPort:
        options.simulator.downloadPort = ParseNumber<std::uint16_t>(optarg, "port");
        break;
    case LogDirectory:
        options.simulator.logDirectory = optarg;
        break;
    case Package:
        options.simulator.firmwarePackage = optarg;
        break;
    case ManualController:
        options.simulator.hasManualController = true;
        break;
    case TimeFactor:
        options.simulator.timeFactor = ParseTimeFactor(optarg);
        break;
    case 'v':
        options.isVerbose = true;
        break;
    case 'h':
        options.isHelpWanted = true;
        break;
    default:
        throw std::runtime_error("unknown option, or one without its argument");
    }
}

} // namespace

const char* const UsageText =
    "usage: stationsim -r ROOT [options]\n"
    "  -r, --root ROOT      the station's root directory, with etc/iipc.json\n"
    "  --script FILE        steering requests to run from the start\n"
    "  --steer-port PORT    of the steering on 127.0.0.1; 8090, or 0 for a free one\n"
    "  --download-port PORT of the downloads on 127.0.0.1; 8091, or 0 for a free one\n"
    "  --log-dir DIR        of the freeze frames; ROOT/data/log\n"
    "  --package FILE       the firmware package; /tmp/update/package.swu\n"
    "  --manual-controller  the controller waits for the steering\n"
    "  --time-factor N      how much faster than real time the meter counts, 0 to 86400; 1\n"
    "  -v, --verbose        log every call and steering request\n"
    "  -h, --help           this text\n";

SOptions ParseOptions(int argumentCount, char* const* arguments)
{
    SOptions options;
    optind = 1;
    opterr = 0;
    int found = 0;
    // one thread only at this time
    while ((found = getopt_long(argumentCount, arguments, "r:vh", LongOptions.data(), nullptr)) !=
           -1) // NOLINT(concurrency-mt-unsafe)
    {
        Take(found, options);
    }
    if (optind < argumentCount)
    {
        throw std::runtime_error(std::string("unknown argument: ") + arguments[optind]);
    }
    if (options.simulator.root.empty() && !options.isHelpWanted)
    {
        throw std::runtime_error("-r ROOT is missing");
    }
    return options;
}

} // namespace Simulator
