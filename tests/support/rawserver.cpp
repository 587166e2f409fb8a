#include "tests/support/rawserver.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>
#include <vector>

CRawServer::CRawServer(std::string answer)
    : answer(std::move(answer))
    , listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(listener, 8) != 0)
    {
        throw std::system_error(errno, std::generic_category(), "a raw server");
    }
    thread = std::thread([this] { Serve(); });
}

CRawServer::~CRawServer()
{
    over = true;
    // has the thread return from accept
    shutdown(listener, SHUT_RDWR);
    thread.join();
    close(listener);
}

std::uint16_t CRawServer::Port() const
{
    sockaddr_in address{};
    socklen_t size = sizeof(address);
    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

void CRawServer::Serve()
{
    std::vector<int> silent;
    while (!over)
    {
        const int connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection < 0)
        {
            continue;
        }
        if (answer.empty())
        {
            silent.push_back(connection);
            continue;
        }
        Answer(connection);
        close(connection);
    }
    for (const int connection : silent)
    {
        close(connection);
    }
}

void CRawServer::Answer(int connection)
{
    std::array<char, 4096> buffer{};
    const ssize_t size = recv(connection, buffer.data(), buffer.size(), 0);
    requests.Add(std::string(buffer.data(), static_cast<std::size_t>(size < 0 ? 0 : size)));
    send(connection, answer.data(), answer.size(), MSG_NOSIGNAL);
    shutdown(connection, SHUT_WR);
    // until the other side has read it all and closes
    while (recv(connection, buffer.data(), buffer.size(), 0) > 0)
    {
    }
}
