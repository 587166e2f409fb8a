#include "src/commandline.h"

#include <getopt.h>

#include <array>
#include <iostream>

namespace
{

// -s has no meaning and ends in the usage text
constexpr const char* ShortOptions = "hqsvr:";

constexpr std::array<option, 5> LongOptions{{{"verbose", no_argument, nullptr, 'v'},
                                             {"quiet", no_argument, nullptr, 'q'},
                                             {"root", required_argument, nullptr, 'r'},
                                             {"help", no_argument, nullptr, 'h'},
                                             {nullptr, 0, nullptr, 0}}};

void PrintUsage(const char* program, const std::string& root)
{
    std::cout << "usage: " << program
              << " [OPTION]\n"
                 "  -v, --verbose    increase verbosity"
                 "  -q, --quiet      disable logging to console\n"
                 "  -r, --root=PATH  set the filesystem root directory\n"
                 "                   defaults to '"
              << root
              << "'\n"
                 "  -h, --help       show this help message and exit\n"
              << std::endl;
}

} // namespace

bool ParseCommandLine(int argc, char** argv, SOptions& options)
{
    Log::ELogLevel logLevel = Log::ELogLevel::Info;
    int option = 0;
    while ((option = getopt_long(argc, argv, ShortOptions, LongOptions.data(), nullptr)) != -1)
    {
        switch (option)
        {
        case 'v':
            logLevel = Log::GetLowerLogLevel(logLevel);
            Log::SetLogLevel(logLevel);
            break;
        case 'q':
            Log::EnableConsoleLogging(false);
            break;
        case 'r':
            options.root = optarg;
            break;
        default:
            PrintUsage(argv[0], options.root);
            return false;
        }
    }
    return true;
}
