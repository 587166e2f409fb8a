#include "platform/toolbox/mdns.h"

#include "platform/log/log.h"
#include "platform/toolbox/descriptor.h"
#include "platform/toolbox/interruption.h"
#include "platform/toolbox/program.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <strings.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <sstream>
#include <system_error>

namespace Toolbox
{

namespace
{

using Clock = std::chrono::steady_clock;

/// How often the program may be ended by what comes in before it is given up.
constexpr int MostEnds = 20;

/// From this exit status on a signal has ended the program.
constexpr int EndedBySignal = 128;

std::string ReadAll(int file)
{
    std::string text;
    std::array<char, 4096> part{};
    for (;;)
    {
        const ssize_t size = pread(file, part.data(), part.size(), static_cast<off_t>(text.size()));
        if (size <= 0)
        {
            return text;
        }
        text.append(part.data(), static_cast<std::size_t>(size));
    }
}

/// The lower the better.
int Rank(const std::string& address)
{
    in6_addr ipv6{};
    if (inet_pton(AF_INET6, address.substr(0, address.find('%')).c_str(), &ipv6) != 1)
    {
        return 0;
    }
    return IN6_IS_ADDR_LINKLOCAL(&ipv6) ? 2 : 1;
}

void Add(std::vector<SMdnsDevice>& devices, const std::string& hostname, const std::string& address)
{
    const auto known = std::find_if(devices.begin(),
                                    devices.end(),
                                    [&hostname](const SMdnsDevice& device)
                                    { return strcasecmp(device.hostname.c_str(), hostname.c_str()) == 0; });
    if (known == devices.end())
    {
        devices.push_back({hostname, address});
    }
    else if (Rank(address) < Rank(known->ipAddress))
    {
        known->ipAddress = address;
    }
}

/// Of lines "ADDRESS HOSTNAME"; the last one may be unfinished.
std::vector<SMdnsDevice> Devices(const std::string& answers)
{
    std::vector<SMdnsDevice> devices;
    std::istringstream lines(answers.substr(0, answers.rfind('\n') + 1));
    std::string address;
    std::string hostname;
    while (lines >> address >> hostname)
    {
        Add(devices, hostname, address);
    }
    return devices;
}

/// @return whether something that came in has ended the program
bool Ask(const std::vector<std::string>& command, int output, CInterruption* interruption)
{
    const SProgramEnd end = RunProgram(command, {}, output, interruption);
    if (end.status != 0)
    {
        LOG_WARN("{} failed with {}: {}", command.front(), end.status, end.errors);
    }
    return end.status >= EndedBySignal;
}

} // namespace

std::string MdnsProgram()
{
    std::error_code ignored;
    return (std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path() / "webbackend-mdns")
        .string();
}

std::vector<SMdnsDevice> QueryMdnsDevices(const std::string& serviceName,
                                          std::chrono::seconds timeout,
                                          CInterruption* interruption,
                                          const std::string& program)
{
    const Clock::time_point end = Clock::now() + timeout;
    const CDescriptor output(memfd_create("mdns", MFD_CLOEXEC));
    try
    {
        for (int run = 0; run < MostEnds; ++run)
        {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
            if (left.count() <= 0 ||
                !Ask({program, serviceName, std::to_string(left.count())}, output.Get(), interruption))
            {
                break;
            }
        }
    }
    catch (const std::system_error& error)
    {
        LOG_WARN("mDNS query not finished: {}", error.what());
    }
    return Devices(ReadAll(output.Get()));
}

} // namespace Toolbox
