#include "bench/framecounter.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

namespace
{

constexpr std::size_t ShortHeader = 2;
constexpr std::size_t LongHeader = 4;
constexpr std::size_t LengthFollows = 126;
constexpr std::size_t TextFrame = 0x81;

constexpr int PatienceMilliseconds = 20000;

void SendBytes(int socket, const std::string& bytes)
{
    if (send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size()))
    {
        throw std::runtime_error("Cannot send");
    }
}

/// Reads the answer to the handshake, byte by byte so that no frame behind it is lost.
void ReadHandshake(int socket)
{
    static const std::string end = "\r\n\r\n";
    std::string answer;
    char byte = 0;
    while (answer.size() < end.size() || answer.compare(answer.size() - end.size(), end.size(), end) != 0)
    {
        if (recv(socket, &byte, 1, 0) != 1)
        {
            throw std::runtime_error("Connection closed in the handshake");
        }
        answer += byte;
    }
    if (answer.find(" 101 ") == std::string::npos)
    {
        throw std::runtime_error("No handshake: " + answer);
    }
}

std::size_t ByteAt(const std::string& bytes, std::size_t position)
{
    return static_cast<unsigned char>(bytes[position]);
}

/// As far as the bytes tell that have come. Frames of 64 KiB and more don't come.
std::size_t HeaderLength(const std::string& begin)
{
    return begin.size() >= ShortHeader && ByteAt(begin, 1) == LengthFollows ? LongHeader : ShortHeader;
}

} // namespace

CFrameCounter::CFrameCounter(std::uint16_t port,
                             std::size_t connections,
                             const std::vector<std::string>& sessions)
    : poll(epoll_create1(EPOLL_CLOEXEC))
{
    this->connections.reserve(connections);
    for (std::size_t i = 0; i < connections; ++i)
    {
        Open(port, sessions.empty() ? std::string() : sessions[i % sessions.size()]);
    }
}

CFrameCounter::~CFrameCounter()
{
    // a masked close frame, so that the server has no failure to report
    static constexpr std::array<char, 6> closeFrame{'\x88', '\x80'};
    std::array<char, 256> rest;
    for (const SConnection& connection : connections)
    {
        send(connection.socket, closeFrame.data(), closeFrame.size(), MSG_NOSIGNAL);
        while (recv(connection.socket, rest.data(), rest.size(), 0) > 0)
        {
        }
        close(connection.socket);
    }
    close(poll);
}

void CFrameCounter::Open(std::uint16_t port, const std::string& session)
{
    SConnection& connection = connections.emplace_back();
    connection.socket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int on = 1;
    setsockopt(connection.socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    if (connect(connection.socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0)
    {
        throw std::runtime_error("Nobody listens");
    }
    SendBytes(connection.socket,
              "GET / HTTP/1.1\r\nHost: localhost\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n"
              "Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n" +
                  (session.empty() ? std::string() : "Cookie: sessionid=" + session + "\r\n") + "\r\n");
    ReadHandshake(connection.socket);

    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = connections.size() - 1;
    epoll_ctl(poll, EPOLL_CTL_ADD, connection.socket, &event);
}

void CFrameCounter::SendAll(const std::string& text)
{
    constexpr std::size_t masked = 0x80;
    std::string frame;
    frame += static_cast<char>(TextFrame);
    frame += static_cast<char>(masked | text.size());
    // a mask of zeros leaves the text as it is
    frame.append(4, '\0');
    frame += text;
    for (const SConnection& connection : connections)
    {
        SendBytes(connection.socket, frame);
    }
}

void CFrameCounter::Await(std::size_t frames)
{
    std::array<epoll_event, 128> events;
    while (counted < frames)
    {
        const int ready = epoll_wait(poll, events.data(), events.size(), PatienceMilliseconds);
        if (ready <= 0)
        {
            throw std::runtime_error("Frames are missing");
        }
        for (int i = 0; i < ready; ++i)
        {
            Read(connections[events[static_cast<std::size_t>(i)].data.u64]);
        }
    }
    if (counted > frames)
    {
        throw std::runtime_error("Too many frames");
    }
    counted = 0;
}

void CFrameCounter::Read(SConnection& connection)
{
    static std::array<char, 65536> buffer;
    const ssize_t received = recv(connection.socket, buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (received <= 0)
    {
        throw std::runtime_error("Connection closed");
    }
    const auto length = static_cast<std::size_t>(received);
    if (keeping && &connection == connections.data())
    {
        firstBytes.append(buffer.data(), length);
    }
    for (std::size_t position = 0; position < length;)
    {
        if (connection.rest == 0)
        {
            position += TakeHeader(connection, buffer.data() + position, length - position);
        }
        const std::size_t taken = std::min(connection.rest, length - position);
        position += taken;
        connection.rest -= taken;
        counted += taken > 0 && connection.rest == 0 && connection.text ? 1 : 0;
    }
}

/// @return number of bytes taken
std::size_t CFrameCounter::TakeHeader(SConnection& connection, const char* bytes, std::size_t length)
{
    std::string& header = connection.header;
    std::size_t taken = 0;
    while (taken < length && header.size() < HeaderLength(header))
    {
        header += bytes[taken++];
    }
    if (header.size() == HeaderLength(header))
    {
        connection.text = ByteAt(header, 0) == TextFrame;
        connection.rest =
            header.size() == ShortHeader ? ByteAt(header, 1) : ByteAt(header, 2) * 256 + ByteAt(header, 3);
        header.clear();
    }
    return taken;
}

std::string CFrameCounter::TakeFirstBytes()
{
    keeping = false;
    return std::exchange(firstBytes, {});
}
