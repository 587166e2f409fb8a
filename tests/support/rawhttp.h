#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Name and value, in the order of the wire.
using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

/// An answer as it came over the wire.
struct SHttpResponse
{
    /// e.g. "HTTP/1.1 404 Not Found"
    std::string statusLine;
    int status = 0;
    HttpHeaders headers;
    std::string body;

    /// Value of the first header of that name, case aside; empty when absent.
    std::string Header(std::string_view name) const;

    /// Values of all headers of that name, case aside.
    std::vector<std::string> HeaderValues(std::string_view name) const;

    bool HasHeader(std::string_view name) const;
};

/// An HTTP client on one loopback connection that sends what it is given, byte for byte, and reads one answer
/// at a time.
///
///     CRawHttp client(8080);
///     EXPECT_EQ(client.Request("GET", "/system/info").status, 200);    // and again: the connection is kept
///     client.Send("POST /login HTTP/1.1\r\nHost: x\r\nContent-Le");    // half a request
///
/// Each operation throws std::runtime_error, which fails the test with its text, when it can't be finished
/// before the deadline, and when the server closes the connection in its midst.
/// Threads: one at a time.
class CRawHttp
{
public:
    /// Connects to 127.0.0.1.
    /// @param deadline  for each operation, from its start
    explicit CRawHttp(std::uint16_t port, std::chrono::milliseconds deadline = std::chrono::seconds(20));
    ~CRawHttp();
    CRawHttp(const CRawHttp&) = delete;
    CRawHttp& operator=(const CRawHttp&) = delete;
    CRawHttp(CRawHttp&&) = delete;
    CRawHttp& operator=(CRawHttp&&) = delete;

    /// Whether somebody listens on the port.
    static bool CanConnect(std::uint16_t port);

    void Send(std::string_view bytes);

    /// Reads one answer: its body by Content-Length, or else until the server closes. Interim answers such as
    /// "100 Continue" are answers of their own.
    /// @param method  of the request; the answer to HEAD, or with 2xx to CONNECT, has no body
    SHttpResponse Receive(std::string_view method = "GET");

    /// Sends a request and reads its answer. Host and, with a body, Content-Length are sent along.
    SHttpResponse Request(std::string_view method,
                          std::string_view target,
                          const HttpHeaders& headers = {},
                          std::string_view body = {});

    /// Reads at least one byte, and what else is there.
    std::string ReceiveSome();

    /// All bytes until the server closes the connection, in order or with a reset.
    std::string ReceiveUntilClose();

    /// Whether the server closes the connection before the deadline, without having sent any more.
    bool IsClosedByServer();

    /// Tells the server that nothing more will be sent; answers can still be read.
    void EndSending() const;

    /// Closes the connection at once, with a reset, whatever is still on its way.
    void Abort();

private:
    using Deadline = std::chrono::steady_clock::time_point;

    Deadline NextDeadline() const;
    void Connect(std::uint16_t port, Deadline deadline);
    void WaitFor(short events, Deadline deadline, const char* purpose) const;
    bool ReadMore(Deadline deadline);
    std::string TakeReceived(std::size_t size);
    std::string TakeHead(Deadline deadline);
    std::string TakeBody(const SHttpResponse& response, std::string_view method, Deadline deadline);

    // Constant after construction
    const std::chrono::milliseconds timeout;

    int socket = -1;
    /// what has been read and not yet been handed out
    std::string received;
};

/// One request over a connection of its own.
SHttpResponse HttpRequest(std::uint16_t port,
                          std::string_view method,
                          std::string_view target,
                          const HttpHeaders& headers = {},
                          std::string_view body = {});

/// The text of a request, with Host and, with a body, Content-Length.
std::string HttpRequestText(std::string_view method,
                            std::string_view target,
                            const HttpHeaders& headers = {},
                            std::string_view body = {});
