/// The event server: a browser opens a WebSocket, is checked by its session cookie, subscribes to topics by
/// name (CWebSocketTopic), and from then on gets events as text frames.
///
/// A client's request is one text frame, {"topic": string, "action": "subscribe" or "unsubscribe"}; its
/// answer is a message of the type "result" with the data {"action", "message", "status": "ok" or "error"}.
/// Events are messages of the type "event" with the data of whoever fills the topic (broadcasters/).
#pragma once

#include "src/websocket/itopic.h"

#include <cstdint>
#include <memory>
#include <string>
#include <thread>

class CWorker;
class CWorkerCall;
class IAuthorization;

/// The event server of one port, on all local IPv4 addresses.
///
/// One thread, the server's own, runs the library: all that clients do, all that they are sent, and so the
/// topics' handlers for clients that subscribe and leave. It ends when the server has been stopped and the
/// last client is gone, and at once when a handler lets an exception out, as a request whose "topic" or
/// "action" is an array or object does, or one that is no object itself: the server is silent from then on.
///
/// A client that has let more than 1 MiB of messages wait is disconnected.
///
/// Threads: CreateTopic, Start, Stop and the destructor on one, which isn't the server's; the others any.
class CWebSocketServer
{
public:
    /// @param worker         runs the call that pings the clients every 20 s
    /// @param authorization  may be null: then everybody may connect
    CWebSocketServer(unsigned short port, CWorker& worker, std::shared_ptr<IAuthorization> authorization);

    /// Stops, and waits until the clients have gone.
    ~CWebSocketServer();

    CWebSocketServer(const CWebSocketServer&) = delete;
    CWebSocketServer& operator=(const CWebSocketServer&) = delete;
    CWebSocketServer(CWebSocketServer&&) = delete;
    CWebSocketServer& operator=(CWebSocketServer&&) = delete;

    /// The topic of this name, which is made unless there is one. Before Start.
    std::shared_ptr<ITopic> CreateTopic(const std::string& name);

    /// Returns before the port is taken. A port that can't be had ends the process: the server's thread
    /// throws websocketpp::exception.
    /// @throws std::runtime_error "Websocket already started", also after Stop
    void Start();

    /// Takes no further clients, and waits for the handler that is under way. Those that are connected stay,
    /// and go on hearing events. Without effect, but for a line in the log, when the port is not taken.
    void Stop();

    /// See IEventSender.
    bool IsConnectionAuthorized(const std::weak_ptr<void>& connection);

    /// Sends one message. A failure to send is logged and reaches nobody.
    /// @param type  "event" or "result"
    void Respond(const std::weak_ptr<void>& connection,
                 const std::string& type,
                 const std::string& topic,
                 const Json::Value& data);

private:
    class CImplementation;

    // Constant after construction
    const std::shared_ptr<CImplementation> implementation;
    const std::shared_ptr<CWorkerCall> pingCall;

    // Touched by the one that starts and stops
    std::thread thread;
};
