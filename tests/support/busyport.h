#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <system_error>

/// Somebody else on a port of all local addresses.
class CBusyPort
{
public:
    explicit CBusyPort(std::uint16_t port)
        : descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        const int on = 1;
        setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_ANY);
        if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
            listen(descriptor, 1) != 0)
        {
            const std::error_code error(errno, std::generic_category());
            close(descriptor);
            throw std::system_error(error, "The port can't be taken");
        }
    }

    ~CBusyPort() { close(descriptor); }
    CBusyPort(const CBusyPort&) = delete;
    CBusyPort& operator=(const CBusyPort&) = delete;
    CBusyPort(CBusyPort&&) = delete;
    CBusyPort& operator=(CBusyPort&&) = delete;

private:
    const int descriptor;
};
