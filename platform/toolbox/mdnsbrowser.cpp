#include "platform/toolbox/mdnsbrowser.h"

#include <avahi-common/error.h>
#include <avahi-common/simple-watch.h>
#include <avahi-core/core.h>
#include <avahi-core/log.h>
#include <avahi-core/lookup.h>

#include <net/if.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <set>
#include <stdexcept>
#include <string_view>

namespace
{

using Clock = std::chrono::steady_clock;

/// What is looked into and told of, however much comes in. A service takes two lookups
/// on each network, for IPv4 and IPv6 each.
constexpr int MostLookups = 512;
constexpr std::size_t MostLines = 256;

/// Records that are kept of each network.
constexpr unsigned MostRecords = 1024;

/// Over the time, after which the process is stuck.
constexpr std::chrono::milliseconds LongestDelay{250};

struct SFreePoll
{
    void operator()(AvahiSimplePoll* poll) const { avahi_simple_poll_free(poll); }
};

struct SFreeServer
{
    void operator()(AvahiServer* server) const { avahi_server_free(server); }
};

struct SFreeConfig
{
    void operator()(AvahiServerConfig* config) const { avahi_server_config_free(config); }
};

/// "_name._tcp.domain." in its parts. An empty domain is "local" to the library.
struct SService
{
    explicit SService(std::string_view name)
    {
        if (!name.empty() && name.back() == '.')
        {
            name.remove_suffix(1);
        }
        const std::size_t firstDot = name.find('.');
        const std::size_t typeEnd =
            firstDot == std::string_view::npos ? std::string_view::npos : name.find('.', firstDot + 1);
        type = name.substr(0, typeEnd);
        domain = typeEnd == std::string_view::npos ? std::string_view() : name.substr(typeEnd + 1);
    }

    std::string type;
    std::string domain;
};

class CBrowser
{
public:
    explicit CBrowser(int output)
        : output(output)
        , poll(avahi_simple_poll_new())
    {
        AvahiServerConfig config{};
        const std::unique_ptr<AvahiServerConfig, SFreeConfig> contents(avahi_server_config_init(&config));
        config.disable_publishing = 1;
        config.publish_addresses = 0;
        config.publish_hinfo = 0;
        config.publish_workstation = 0;
        config.publish_domain = 0;
        config.n_cache_entries_max = MostRecords;
        int error = 0;
        server.reset(avahi_server_new(avahi_simple_poll_get(poll.get()), &config, nullptr, nullptr, &error));
        if (server == nullptr)
        {
            throw std::runtime_error(avahi_strerror(error));
        }
    }

    void Browse(const SService& service)
    {
        if (avahi_s_service_browser_new(server.get(),
                                        AVAHI_IF_UNSPEC,
                                        AVAHI_PROTO_UNSPEC,
                                        service.type.c_str(),
                                        service.domain.empty() ? nullptr : service.domain.c_str(),
                                        AvahiLookupFlags{},
                                        &CBrowser::OnService,
                                        this) == nullptr)
        {
            throw std::runtime_error(avahi_strerror(avahi_server_errno(server.get())));
        }
    }

    void Run(Clock::time_point end)
    {
        for (;;)
        {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
            if (left <= 0 || avahi_simple_poll_iterate(poll.get(), static_cast<int>(left)) != 0)
            {
                return;
            }
        }
    }

private:
    static void OnService(AvahiSServiceBrowser* /*browser*/,
                          AvahiIfIndex interface,
                          AvahiProtocol protocol,
                          AvahiBrowserEvent event,
                          const char* name,
                          const char* type,
                          const char* domain,
                          AvahiLookupResultFlags /*flags*/,
                          void* self)
    {
        if (event == AVAHI_BROWSER_NEW)
        {
            static_cast<CBrowser*>(self)->Resolve(interface, protocol, name, type, domain);
        }
    }

    static void OnAddress(AvahiSServiceResolver* /*resolver*/,
                          AvahiIfIndex interface,
                          AvahiProtocol /*protocol*/,
                          AvahiResolverEvent event,
                          const char* /*name*/,
                          const char* /*type*/,
                          const char* /*domain*/,
                          const char* hostname,
                          const AvahiAddress* address,
                          std::uint16_t /*port*/,
                          AvahiStringList* /*text*/,
                          AvahiLookupResultFlags /*flags*/,
                          void* self)
    {
        if (event == AVAHI_RESOLVER_FOUND && hostname != nullptr && address != nullptr)
        {
            static_cast<CBrowser*>(self)->Tell(interface, hostname, *address);
        }
    }

    /// For IPv4 and IPv6 each, as one lookup for both ends with whichever comes first. The server frees them.
    void Resolve(AvahiIfIndex interface,
                 AvahiProtocol protocol,
                 const char* name,
                 const char* type,
                 const char* domain)
    {
        for (const AvahiProtocol kind : std::array{AVAHI_PROTO_INET, AVAHI_PROTO_INET6})
        {
            if (lookups < MostLookups)
            {
                ++lookups;
                avahi_s_service_resolver_new(server.get(),
                                             interface,
                                             protocol,
                                             name,
                                             type,
                                             domain,
                                             kind,
                                             AVAHI_LOOKUP_NO_TXT,
                                             &CBrowser::OnAddress,
                                             this);
            }
        }
    }

    void Tell(AvahiIfIndex interface, const char* hostname, const AvahiAddress& address)
    {
        std::array<char, AVAHI_ADDRESS_STR_MAX> text{};
        avahi_address_snprint(text.data(), text.size(), &address);
        std::string line = text.data();
        std::array<char, IF_NAMESIZE> network{};
        // fe80::/10
        if (address.proto == AVAHI_PROTO_INET6 && address.data.ipv6.address[0] == 0xfe &&
            (address.data.ipv6.address[1] & 0xc0U) == 0x80 &&
            if_indextoname(static_cast<unsigned>(interface), network.data()) != nullptr)
        {
            line.append("%").append(network.data());
        }
        line.append(" ").append(hostname).append("\n");
        // whole lines: the reader may find what was written when this process was ended
        if (lines.size() < MostLines && lines.insert(line).second &&
            write(output, line.data(), line.size()) < 0)
        {
            avahi_simple_poll_quit(poll.get());
        }
    }

    // Constant after construction
    const int output;
    const std::unique_ptr<AvahiSimplePoll, SFreePoll> poll;
    std::unique_ptr<AvahiServer, SFreeServer> server;

    int lookups = 0;
    std::set<std::string> lines;
};

/// What no loop in the library outlives.
void EndProcessAfter(std::chrono::milliseconds time)
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    itimerval timer{};
    timer.it_value.tv_sec = seconds.count();
    timer.it_value.tv_usec = std::chrono::microseconds(time - seconds).count();
    setitimer(ITIMER_REAL, &timer, nullptr);
}

} // namespace

void BrowseMdns(const std::string& serviceName, std::chrono::milliseconds time, int output)
{
    const Clock::time_point end = Clock::now() + time;
    EndProcessAfter(time + LongestDelay);
    avahi_set_log_function([](AvahiLogLevel /*level*/, const char* /*text*/) {});
    CBrowser browser(output);
    browser.Browse(SService(serviceName));
    browser.Run(end);
}

int RunMdnsBrowser(int argc, char** argv)
{
    const std::string_view milliseconds = argc == 3 ? argv[2] : "";
    int time = 0;
    const auto [end, error] =
        std::from_chars(milliseconds.data(), milliseconds.data() + milliseconds.size(), time);
    if (error != std::errc() || end != milliseconds.data() + milliseconds.size() || time <= 0)
    {
        std::cerr << "Usage: webbackend-mdns SERVICE_NAME MILLISECONDS\n";
        return 2;
    }
    // what hostile answers end leaves no core dump, neither in a file nor at a program that takes them
    const rlimit none{};
    setrlimit(RLIMIT_CORE, &none);
    prctl(PR_SET_DUMPABLE, 0);
    try
    {
        BrowseMdns(argv[1], std::chrono::milliseconds(time), STDOUT_FILENO);
        return EXIT_SUCCESS;
    }
    catch (const std::exception& exception)
    {
        std::cerr << exception.what() << '\n';
        return EXIT_FAILURE;
    }
}
