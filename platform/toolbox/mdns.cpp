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
#include <iterator>
#include <list>
#include <memory>
#include <mutex>
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

/// One search, which is on record while it is under way.
///
/// Responders leave out what they have just told, or what a query from the same address says to be known, and
/// so a search can't hear of itself what another one on this machine has heard shortly before.
/// Threads: each object one; the record any.
class CSearch
{
public:
    explicit CSearch(const std::string& serviceName)
        : answers(std::make_shared<const SAnswers>(serviceName))
    {
        const std::lock_guard lock(mutex);
        std::copy_if(underWay.begin(),
                     underWay.end(),
                     std::back_inserter(earlier),
                     [&serviceName](const auto& other) { return other->serviceName == serviceName; });
        underWay.push_back(answers);
    }
    ~CSearch()
    {
        const std::lock_guard lock(mutex);
        underWay.remove(answers);
    }
    CSearch(const CSearch&) = delete;
    CSearch& operator=(const CSearch&) = delete;
    CSearch(CSearch&&) = delete;
    CSearch& operator=(CSearch&&) = delete;

    int Output() const { return answers->output.Get(); }

    /// What was heard by those that were under way when this one began, and by this one.
    std::string Answers() const
    {
        std::string lines;
        for (const auto& search : earlier)
        {
            lines += Lines(search->output.Get());
        }
        return lines + Lines(Output());
    }

private:
    struct SAnswers
    {
        explicit SAnswers(const std::string& serviceName)
            : serviceName(serviceName)
            , output(memfd_create("mdns", MFD_CLOEXEC))
        {
        }

        const std::string serviceName;
        const CDescriptor output;
    };

    /// The last line may be unfinished.
    static std::string Lines(int output);

    // Constant after construction
    const std::shared_ptr<const SAnswers> answers;
    std::vector<std::shared_ptr<const SAnswers>> earlier;

    static inline std::mutex mutex;

    // Guarded by mutex
    static inline std::list<std::shared_ptr<const SAnswers>> underWay;
};

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

std::string CSearch::Lines(int output)
{
    const std::string text = ReadAll(output);
    return text.substr(0, text.rfind('\n') + 1);
}

std::string FirstLine(const std::string& text)
{
    return text.substr(0, text.find('\n'));
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

/// Of lines "ADDRESS HOSTNAME".
std::vector<SMdnsDevice> Devices(const std::string& answers)
{
    std::vector<SMdnsDevice> devices;
    std::istringstream lines(answers);
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
        LOG_WARN("{} failed with {}: {}", command.front(), end.status, FirstLine(end.errors));
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
    const CSearch search(serviceName);
    try
    {
        for (int run = 0; run < MostEnds; ++run)
        {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now());
            if (left.count() <= 0 ||
                !Ask({program, serviceName, std::to_string(left.count())}, search.Output(), interruption))
            {
                break;
            }
        }
    }
    catch (const std::system_error& error)
    {
        LOG_WARN("mDNS query not finished: {}", error.what());
    }
    return Devices(search.Answers());
}

} // namespace Toolbox
