#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>

struct MHD_Connection;
struct MHD_Daemon;

namespace Simulator
{

struct SHttpRequest
{
    std::string method;
    /// without the query
    std::string path;
    std::map<std::string, std::string> query;
    std::string body;
};

struct SHttpAnswer
{
    unsigned status = 200;
    /// JSON text
    std::string body;
};

/// A small HTTP server on the loopback interface that answers with JSON.
///
/// Each connection has a thread of its own, so that a handler may wait. Bodies are limited to 1 MiB.
/// Threads: the handler runs on those of the connections, several at a time.
class CHttpServer
{
public:
    using Handler = std::function<SHttpAnswer(const SHttpRequest&)>;

    /// @param port 0 for one that is free
    /// @throws std::runtime_error if the port can't be listened on
    CHttpServer(std::uint16_t port, Handler handler);

    /// Waits for handlers under way.
    ~CHttpServer();
    CHttpServer(const CHttpServer&) = delete;
    CHttpServer& operator=(const CHttpServer&) = delete;
    CHttpServer(CHttpServer&&) = delete;
    CHttpServer& operator=(CHttpServer&&) = delete;

    std::uint16_t Port() const;

private:
    struct SExchange;
    struct SCallbacks;

    // Constant after construction
    const Handler handler;
    MHD_Daemon* daemon = nullptr;
};

} // namespace Simulator
