#include "tests/support/rawhttp.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace
{

constexpr std::size_t ReadSize = 65536; // bytes
constexpr std::string_view LineEnd = "\r\n";
constexpr std::string_view HeadEnd = "\r\n\r\n";

[[noreturn]] void ThrowErrno(const std::string& what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

sockaddr_in LoopbackAddress(std::uint16_t port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

bool IsSameName(std::string_view left, std::string_view right)
{
    return left.size() == right.size() && strncasecmp(left.data(), right.data(), left.size()) == 0;
}

/// Takes a line off the text, without its end.
std::string_view TakeLine(std::string_view& text)
{
    const std::size_t end = text.find(LineEnd);
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + LineEnd.size());
    return line;
}

std::pair<std::string, std::string> ParseHeader(std::string_view line)
{
    const std::size_t colon = line.find(": ");
    if (colon == std::string_view::npos)
    {
        throw std::runtime_error("not a header: " + std::string(line));
    }
    return {std::string(line.substr(0, colon)), std::string(line.substr(colon + 2))};
}

SHttpResponse ParseHead(std::string_view head)
{
    SHttpResponse response;
    response.statusLine = TakeLine(head);
    if (response.statusLine.compare(0, 7, "HTTP/1.") != 0 || response.statusLine.size() < 12)
    {
        throw std::runtime_error("not a status line: " + response.statusLine);
    }
    response.status = std::stoi(response.statusLine.substr(9, 3));
    while (!head.empty())
    {
        response.headers.push_back(ParseHeader(TakeLine(head)));
    }
    return response;
}

bool HasBody(const SHttpResponse& response, std::string_view method)
{
    const bool isTunnel = method == "CONNECT" && response.status / 100 == 2;
    return method != "HEAD" && !isTunnel && response.status >= 200 && response.status != 204 &&
           response.status != 304;
}

} // namespace

std::string SHttpResponse::Header(std::string_view name) const
{
    const auto values = HeaderValues(name);
    return values.empty() ? std::string() : values.front();
}

std::vector<std::string> SHttpResponse::HeaderValues(std::string_view name) const
{
    std::vector<std::string> values;
    for (const auto& header : headers)
    {
        if (IsSameName(header.first, name))
        {
            values.push_back(header.second);
        }
    }
    return values;
}

bool SHttpResponse::HasHeader(std::string_view name) const
{
    return !HeaderValues(name).empty();
}

CRawHttp::CRawHttp(std::uint16_t port, std::chrono::milliseconds deadline)
    : timeout(deadline)
    , socket(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0))
{
    if (socket < 0)
    {
        ThrowErrno("socket");
    }
    try
    {
        Connect(port, NextDeadline());
    }
    catch (...)
    {
        close(socket);
        throw;
    }
}

CRawHttp::~CRawHttp()
{
    if (socket >= 0)
    {
        close(socket);
    }
}

bool CRawHttp::CanConnect(std::uint16_t port)
{
    try
    {
        const CRawHttp client(port);
        return true;
    }
    catch (const std::system_error& failure)
    {
        // a listener that closes resets who is in its queue
        if (failure.code() != std::errc::connection_refused && failure.code() != std::errc::connection_reset)
        {
            throw;
        }
        return false;
    }
}

void CRawHttp::Send(std::string_view bytes)
{
    const Deadline deadline = NextDeadline();
    while (!bytes.empty())
    {
        const ssize_t sent = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent >= 0)
        {
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        }
        else if (errno == EAGAIN)
        {
            WaitFor(POLLOUT, deadline, "send");
        }
        else if (errno != EINTR)
        {
            ThrowErrno("send");
        }
    }
}

SHttpResponse CRawHttp::Receive(std::string_view method)
{
    const Deadline deadline = NextDeadline();
    SHttpResponse response = ParseHead(TakeHead(deadline));
    response.body = TakeBody(response, method, deadline);
    return response;
}

SHttpResponse CRawHttp::Request(std::string_view method,
                                std::string_view target,
                                const HttpHeaders& headers,
                                std::string_view body)
{
    Send(HttpRequestText(method, target, headers, body));
    return Receive(method);
}

std::string CRawHttp::ReceiveSome()
{
    if (received.empty() && !ReadMore(NextDeadline()))
    {
        throw std::runtime_error("the server closed the connection");
    }
    return TakeReceived(received.size());
}

std::string CRawHttp::ReceiveUntilClose()
{
    const Deadline deadline = NextDeadline();
    while (ReadMore(deadline))
    {
    }
    return TakeReceived(received.size());
}

bool CRawHttp::IsClosedByServer()
{
    try
    {
        return received.empty() && !ReadMore(NextDeadline());
    }
    catch (const std::system_error& failure)
    {
        if (failure.code() != std::errc::timed_out)
        {
            throw;
        }
        return false;
    }
}

void CRawHttp::EndSending() const
{
    if (shutdown(socket, SHUT_WR) != 0)
    {
        ThrowErrno("shutdown");
    }
}

void CRawHttp::Abort()
{
    const linger atOnce = {1, 0};
    if (setsockopt(socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof(atOnce)) != 0)
    {
        ThrowErrno("setsockopt");
    }
    close(socket);
    socket = -1;
}

CRawHttp::Deadline CRawHttp::NextDeadline() const
{
    return std::chrono::steady_clock::now() + timeout;
}

void CRawHttp::Connect(std::uint16_t port, Deadline deadline)
{
    // pieces that are sent one by one shall leave one by one
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));

    const sockaddr_in address = LoopbackAddress(port);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the socket API's own idiom
    if (connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0)
    {
        return;
    }
    int error = errno;
    if (error == EINPROGRESS)
    {
        WaitFor(POLLOUT, deadline, "connect");
        socklen_t size = sizeof(error);
        getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size);
    }
    if (error != 0)
    {
        throw std::system_error(error, std::generic_category(), "connect to port " + std::to_string(port));
    }
}

void CRawHttp::WaitFor(short events, Deadline deadline, const char* purpose) const
{
    pollfd waiting = {socket, events, 0};
    int ready = 0;
    do
    {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        ready = poll(&waiting, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 0)));
    } while (ready < 0 && errno == EINTR);
    if (ready < 0)
    {
        ThrowErrno("poll");
    }
    if (ready == 0)
    {
        throw std::system_error(std::make_error_code(std::errc::timed_out), purpose);
    }
}

/// @return false at the connection's end
bool CRawHttp::ReadMore(Deadline deadline)
{
    std::array<char, ReadSize> buffer; // NOLINT(cppcoreguidelines-pro-type-member-init): filled by recv
    for (;;)
    {
        WaitFor(POLLIN, deadline, "receive");
        const ssize_t size = recv(socket, buffer.data(), buffer.size(), 0);
        if (size > 0)
        {
            received.append(buffer.data(), static_cast<std::size_t>(size));
            return true;
        }
        if (size == 0 || errno == ECONNRESET)
        {
            return false;
        }
        if (errno != EAGAIN && errno != EINTR)
        {
            ThrowErrno("receive");
        }
    }
}

std::string CRawHttp::TakeReceived(std::size_t size)
{
    std::string taken = received.substr(0, size);
    received.erase(0, size);
    return taken;
}

/// Status line and headers, without the empty line.
std::string CRawHttp::TakeHead(Deadline deadline)
{
    std::size_t end = received.find(HeadEnd);
    while (end == std::string::npos)
    {
        if (!ReadMore(deadline))
        {
            throw std::runtime_error("the server closed the connection after: \"" + received + '"');
        }
        end = received.find(HeadEnd);
    }
    std::string head = TakeReceived(end);
    received.erase(0, HeadEnd.size());
    return head;
}

std::string CRawHttp::TakeBody(const SHttpResponse& response, std::string_view method, Deadline deadline)
{
    if (!HasBody(response, method))
    {
        return {};
    }
    if (response.HasHeader("Transfer-Encoding"))
    {
        throw std::runtime_error("an answer in chunks, which this client doesn't read");
    }
    if (!response.HasHeader("Content-Length"))
    {
        return ReceiveUntilClose();
    }
    const std::size_t length = std::stoul(response.Header("Content-Length"));
    while (received.size() < length)
    {
        if (!ReadMore(deadline))
        {
            throw std::runtime_error("the server closed the connection after " +
                                     std::to_string(received.size()) + " of " + std::to_string(length) +
                                     " bytes of the body");
        }
    }
    return TakeReceived(length);
}

SHttpResponse HttpRequest(std::uint16_t port,
                          std::string_view method,
                          std::string_view target,
                          const HttpHeaders& headers,
                          std::string_view body)
{
    return CRawHttp(port).Request(method, target, headers, body);
}

std::string HttpRequestText(std::string_view method,
                            std::string_view target,
                            const HttpHeaders& headers,
                            std::string_view body)
{
    std::string text(method);
    text.append(" ").append(target).append(" HTTP/1.1\r\nHost: localhost\r\n");
    for (const auto& [name, value] : headers)
    {
        text.append(name).append(": ").append(value).append(LineEnd);
    }
    if (!body.empty())
    {
        text.append("Content-Length: ").append(std::to_string(body.size())).append(LineEnd);
    }
    return text.append(LineEnd).append(body);
}
