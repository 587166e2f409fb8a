#pragma once

#include <chrono>
#include <memory>
#include <string>

namespace Toolbox
{
class CInterruption;
}

/// A connection to a Modbus TCP peer.
class IModbusTcpClient
{
public:
    IModbusTcpClient() = default;
    IModbusTcpClient(const IModbusTcpClient&) = delete;
    IModbusTcpClient& operator=(const IModbusTcpClient&) = delete;
    IModbusTcpClient(IModbusTcpClient&&) = delete;
    IModbusTcpClient& operator=(IModbusTcpClient&&) = delete;

    /// Drops the connection.
    virtual ~IModbusTcpClient() = default;

    /// To be called before Connect. @return false if the address can't be one
    virtual bool Init() = 0;

    /// Waits until the peer has taken the connection. @return 0 on success
    virtual int Connect() = 0;
};

/// The same with libmodbus, which holds the connection; it is made without it, so that the wait has an end.
/// Threads: one at a time.
class CModbusTcpClient : public IModbusTcpClient
{
public:
    /// From the lookup of the name to the end of the last attempt. A name is looked up for at most one second
    /// at each name server and with each suffix of the resolver's configuration, which may take longer than
    /// this; no connection is tried then.
    static constexpr std::chrono::seconds LongestConnect{3};

    /// @param address       name, IPv4 or IPv6 address; any bytes, which are not a valid address then
    /// @param interruption  ends the wait for the peer, if it isn't null, which counts as a failure
    CModbusTcpClient(const std::string& address,
                     unsigned short port,
                     Toolbox::CInterruption* interruption = nullptr);
    ~CModbusTcpClient() override;
    CModbusTcpClient(const CModbusTcpClient&) = delete;
    CModbusTcpClient& operator=(const CModbusTcpClient&) = delete;
    CModbusTcpClient(CModbusTcpClient&&) = delete;
    CModbusTcpClient& operator=(CModbusTcpClient&&) = delete;

    bool Init() override;

    /// Tries the addresses of a name one after the other. Drops an earlier connection first.
    int Connect() override;

private:
    class CContext;

    // Constant after construction
    const std::string address;
    const std::string service;
    Toolbox::CInterruption* const interruption;

    /// Null before Init
    std::unique_ptr<CContext> context;
};
