#pragma once

#include <json/value.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "tests/support/eventually.h"
#include "tests/support/rawhttp.h"

/// A WebSocket client of the loopback, on a thread of its own, that answers pings unless told otherwise.
///
/// What waits gives up after TestPatience with a std::runtime_error, which fails the test with its text.
/// Threads: the test's.
class CWebSocketClient
{
public:
    /// Connects, and returns when the handshake is done.
    /// @param headers  of the handshake
    explicit CWebSocketClient(std::uint16_t port, const HttpHeaders& headers = {});

    /// Closes the connection and waits until it is closed.
    ~CWebSocketClient();
    CWebSocketClient(const CWebSocketClient&) = delete;
    CWebSocketClient& operator=(const CWebSocketClient&) = delete;
    CWebSocketClient(CWebSocketClient&&) = delete;
    CWebSocketClient& operator=(CWebSocketClient&&) = delete;

    void Send(const std::string& text);
    void SendBinary(const std::string& bytes);

    /// An unasked pong.
    void SendPong(const std::string& payload);

    /// Leaves pings unanswered from now on.
    void IgnorePings();

    /// Sends {"action": …, "topic": …}.
    void Request(const std::string& action, const std::string& topic);

    /// Subscribes and takes the result.
    void Subscribe(const std::string& topic);

    /// The text of the next frame, in order.
    std::string Receive();
    Json::Value ReceiveJson();

    /// Number of frames that have come and were not taken yet.
    std::size_t Waiting() const;

    /// Number of pings that have come before what was received last.
    std::size_t Pings() const;

    /// Waits until so many pings have come since the connection was opened.
    void AwaitPings(std::size_t count);

    void Close();

    /// Waits until the connection is closed. @return the other side's close code
    int AwaitClose();

    /// Reason of the other side's close, once AwaitClose has returned.
    std::string CloseReason() const;

private:
    class CConnection;
    const std::unique_ptr<CConnection> connection;
};

/// Waits until an event server answers.
void AwaitListener(std::uint16_t port);

/// {"data": {"action": …, "message": …, "status": …}, "topic": …, "type": "result"}
Json::Value WebSocketResult(const std::string& status,
                            const std::string& topic,
                            const std::string& action,
                            const std::string& message);

/// {"data": …, "topic": …, "type": "event"}
Json::Value WebSocketEvent(const std::string& topic, const Json::Value& data);
