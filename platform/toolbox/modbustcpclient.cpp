#include "platform/toolbox/modbustcpclient.h"

#include "platform/log/log.h"
#include "platform/toolbox/descriptor.h"
#include "platform/toolbox/interruption.h"

#include <modbus.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <resolv.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <iterator>
#include <optional>

namespace
{

using Clock = std::chrono::steady_clock;

/// Has this thread's lookups ask each name server once, for a second, instead of twice for five.
class CQuickLookups
{
public:
    CQuickLookups()
    {
        // also takes over a configuration that has changed, which a resolver with settings of its own doesn't
        res_init();
        retrans = _res.retrans;
        retry = _res.retry;
        _res.retrans = 1;
        _res.retry = 1;
    }
    ~CQuickLookups()
    {
        _res.retrans = retrans;
        _res.retry = retry;
    }
    CQuickLookups(const CQuickLookups&) = delete;
    CQuickLookups& operator=(const CQuickLookups&) = delete;
    CQuickLookups(CQuickLookups&&) = delete;
    CQuickLookups& operator=(CQuickLookups&&) = delete;

private:
    int retrans = 0;
    int retry = 0;
};

struct SFreeAddresses
{
    void operator()(addrinfo* addresses) const { freeaddrinfo(addresses); }
};
using Addresses = std::unique_ptr<addrinfo, SFreeAddresses>;

/// Null if there are none.
Addresses Resolve(const std::string& name, const std::string& service)
{
    addrinfo wanted{};
    wanted.ai_socktype = SOCK_STREAM;
    wanted.ai_flags = AI_NUMERICSERV;
    addrinfo* found = nullptr;
    const CQuickLookups quick;
    const int error = getaddrinfo(name.c_str(), service.c_str(), &wanted, &found);
    if (error != 0)
    {
        LOG_DEBUG("Modbus peer not found: {}", gai_strerror(error));
        return nullptr;
    }
    return Addresses(found);
}

int Count(const addrinfo* addresses)
{
    int count = 0;
    for (; addresses != nullptr; addresses = addresses->ai_next)
    {
        ++count;
    }
    return count;
}

/// Waits until a connection stands or has failed. @param ended  descriptor that ends the wait, -1 for none
bool AwaitConnected(int socket, int ended, Clock::time_point deadline)
{
    std::array<pollfd, 2> waits{{{socket, POLLOUT, 0}, {ended, POLLIN, 0}}};
    for (;;)
    {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        const int ready = poll(waits.data(), waits.size(), static_cast<int>(std::max<std::int64_t>(left, 0)));
        if (ready < 0 && errno == EINTR)
        {
            continue;
        }
        int error = 0;
        socklen_t size = sizeof error;
        return ready > 0 && waits[0].revents != 0 && waits[1].revents == 0 &&
               getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
    }
}

} // namespace

/// Owns libmodbus's side of the connection.
class CModbusTcpClient::CContext
{
public:
    CContext(const std::string& address, const std::string& service)
        : context(modbus_new_tcp_pi(address.c_str(), service.c_str()))
    {
        LOG_ENTRY(CModbusTcpClient::CContext, "CContext");
    }
    ~CContext()
    {
        if (IsValid())
        {
            modbus_close(context);
            modbus_free(context);
        }
    }
    CContext(const CContext&) = delete;
    CContext& operator=(const CContext&) = delete;
    CContext(CContext&&) = delete;
    CContext& operator=(CContext&&) = delete;

    bool IsValid() const { return context != nullptr; }

    void Close() { modbus_close(context); }

    /// libmodbus's own connect waits in select, which ends the process where a descriptor is above 1023,
    /// takes its time for each address anew, and can't be ended.
    bool Connect(const addrinfo& peer, int ended, Clock::time_point deadline)
    {
        const int socket =
            ::socket(peer.ai_family, peer.ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK, peer.ai_protocol);
        if (socket < 0)
        {
            return false;
        }
        modbus_set_socket(context, socket);
        if (connect(socket, peer.ai_addr, peer.ai_addrlen) == 0 ||
            (errno == EINPROGRESS && AwaitConnected(socket, ended, deadline)))
        {
            return true;
        }
        Close();
        return false;
    }

private:
    modbus_t* const context;
};

CModbusTcpClient::CModbusTcpClient(const std::string& address,
                                   unsigned short port,
                                   Toolbox::CInterruption* interruption)
    : address(address)
    , service(std::to_string(port))
    , interruption(interruption)
{
    LOG_ENTRY(CModbusTcpClient, "CModbusTcpClient");
}

CModbusTcpClient::~CModbusTcpClient() = default;

bool CModbusTcpClient::Init()
{
    LOG_ENTRY(CModbusTcpClient, "Init");
    // what stands behind a zero would be lost, and another host be meant
    if (address.empty() || address.size() >= NI_MAXHOST || address.find('\0') != std::string::npos)
    {
        return false;
    }
    context = std::make_unique<CContext>(address, service);
    return context->IsValid();
}

int CModbusTcpClient::Connect()
{
    LOG_ENTRY(CModbusTcpClient, "Connect");
    constexpr int Failed = -1;
    if (context == nullptr || !context->IsValid())
    {
        return Failed;
    }
    context->Close();
    const Clock::time_point deadline = Clock::now() + LongestConnect;
    const Toolbox::CDescriptor ended(eventfd(0, EFD_CLOEXEC));
    std::optional<Toolbox::CInterruption::CHold> hold;
    if (interruption != nullptr)
    {
        hold.emplace(*interruption, [&ended] { eventfd_write(ended.Get(), 1); });
    }
    const Addresses addresses = Resolve(address, service);
    int left = Count(addresses.get());
    for (const addrinfo* peer = addresses.get(); peer != nullptr; peer = peer->ai_next)
    {
        const Clock::time_point now = Clock::now();
        // each address gets its part of the time: the first must not use it up if it is silent
        if (now < deadline && context->Connect(*peer, ended.Get(), now + (deadline - now) / left--))
        {
            return 0;
        }
    }
    return Failed;
}
