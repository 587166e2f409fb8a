#pragma once

#include <cstdint>
#include <string>

/// One keep-alive connection to the loopback, which sends the same request over and over. The answers have
/// all one length, so that reading costs the measured server's side nothing but the reading.
class CKeepAliveClient
{
public:
    /// @throws std::runtime_error if nobody listens
    CKeepAliveClient(std::uint16_t port, std::string request);
    ~CKeepAliveClient();
    CKeepAliveClient(const CKeepAliveClient&) = delete;
    CKeepAliveClient& operator=(const CKeepAliveClient&) = delete;
    CKeepAliveClient(CKeepAliveClient&&) = delete;
    CKeepAliveClient& operator=(CKeepAliveClient&&) = delete;

    /// Sends the request and reads the answer's head and body. @return the whole answer
    const std::string& RoundTrip();

private:
    int socket;
    const std::string request;
    std::string answer;
};
