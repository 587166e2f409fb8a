#include "bench/keepaliveclient.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace
{

/// Length of the answer that begins here; 0 while its head is not complete.
std::size_t AnswerLength(const std::string& answer)
{
    static const std::string lengthHeader = "Content-Length: ";
    const std::size_t headEnd = answer.find("\r\n\r\n");
    if (headEnd == std::string::npos)
    {
        return 0;
    }
    const std::size_t header = answer.find(lengthHeader);
    const std::size_t body =
        header < headEnd ? std::strtoul(answer.c_str() + header + lengthHeader.size(), nullptr, 10) : 0;
    return headEnd + 4 + body;
}

} // namespace

CKeepAliveClient::CKeepAliveClient(std::uint16_t port, std::string request)
    : socket(::socket(AF_INET, SOCK_STREAM, 0))
    , request(std::move(request))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    if (connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0)
    {
        close(socket);
        throw std::runtime_error("Nobody listens");
    }
}

CKeepAliveClient::~CKeepAliveClient()
{
    close(socket);
}

const std::string& CKeepAliveClient::RoundTrip()
{
    if (send(socket, request.data(), request.size(), 0) != static_cast<ssize_t>(request.size()))
    {
        throw std::runtime_error("Cannot send");
    }
    answer.clear();
    std::array<char, 4096> buffer;
    std::size_t expected = 0;
    while (expected == 0 || answer.size() < expected)
    {
        const ssize_t length = recv(socket, buffer.data(), buffer.size(), 0);
        if (length <= 0)
        {
            throw std::runtime_error("Connection closed");
        }
        answer.append(buffer.data(), static_cast<std::size_t>(length));
        expected = AnswerLength(answer);
    }
    return answer;
}
