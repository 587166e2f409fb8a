#include "tests/support/websocketclient.h"

#include <json/reader.h>
#include <websocketpp/client.hpp>
#include <websocketpp/config/asio_no_tls_client.hpp>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace
{

using Endpoint = websocketpp::client<websocketpp::config::asio_client>;
using Handle = websocketpp::connection_hdl;

} // namespace

class CWebSocketClient::CConnection
{
public:
    CConnection(std::uint16_t port, const HttpHeaders& headers)
    {
        endpoint.clear_access_channels(websocketpp::log::alevel::all);
        endpoint.clear_error_channels(websocketpp::log::elevel::all);
        endpoint.init_asio();
        endpoint.set_open_handler([this](const Handle&) { Change([this] { open = true; }); });
        endpoint.set_message_handler([this](const Handle&, const Endpoint::message_ptr& message)
                                     { Change([&] { frames.push_back(message->get_payload()); }); });
        endpoint.set_ping_handler(
            [this](const Handle&, const std::string&)
            {
                bool answer = true;
                Change(
                    [&]
                    {
                        ++pings;
                        answer = answersPings;
                    });
                return answer;
            });
        const auto ended = [this](const Handle&)
        {
            Change(
                [this]
                {
                    closeCode = client->get_remote_close_code();
                    closeReason = client->get_remote_close_reason();
                });
        };
        endpoint.set_close_handler(ended);
        endpoint.set_fail_handler(ended);
        websocketpp::lib::error_code error;
        client = endpoint.get_connection("ws://127.0.0.1:" + std::to_string(port) + "/", error);
        if (error)
        {
            throw std::runtime_error("No connection: " + error.message());
        }
        for (const auto& header : headers)
        {
            client->append_header(header.first, header.second);
        }
        endpoint.connect(client);
        thread = std::thread([this] { endpoint.run(); });
        try
        {
            Await("the handshake", [this] { return open || closeCode; });
            if (!open)
            {
                throw std::runtime_error("The handshake failed");
            }
        }
        catch (const std::runtime_error&)
        {
            End();
            throw;
        }
    }

    ~CConnection()
    {
        Close();
        End();
    }

    CConnection(const CConnection&) = delete;
    CConnection& operator=(const CConnection&) = delete;
    CConnection(CConnection&&) = delete;
    CConnection& operator=(CConnection&&) = delete;

    void Send(const std::string& payload, websocketpp::frame::opcode::value opcode)
    {
        Post([this, payload, opcode] { client->send(payload, opcode); });
    }

    void SendPong(const std::string& payload)
    {
        Post([this, payload] { client->pong(payload); });
    }

    void Close()
    {
        Post(
            [this]
            {
                websocketpp::lib::error_code ignored;
                client->close(websocketpp::close::status::normal, "", ignored);
            });
    }

    std::string Receive()
    {
        std::string frame;
        Await("a frame",
              [&]
              {
                  if (frames.empty())
                  {
                      return false;
                  }
                  frame = std::move(frames.front());
                  frames.pop_front();
                  return true;
              });
        return frame;
    }

    void Await(const char* what, const std::function<bool()>& condition)
    {
        std::unique_lock lock(mutex);
        if (!changed.wait_for(lock, TestPatience, condition))
        {
            throw std::runtime_error(std::string("In vain waited for ") + what);
        }
    }

    void Change(const std::function<void()>& change)
    {
        const std::lock_guard lock(mutex);
        change();
        changed.notify_all();
    }

    std::mutex mutex;
    std::condition_variable changed;

    // Guarded by mutex
    bool open = false;
    bool answersPings = true;
    std::size_t pings = 0;
    std::deque<std::string> frames;
    std::optional<int> closeCode;
    std::string closeReason;

private:
    void Post(const std::function<void()>& action)
    {
        websocketpp::lib::asio::post(endpoint.get_io_service(), action);
    }

    void End()
    {
        if (thread.joinable())
        {
            // a server that does not answer the close is left after the library's five seconds
            thread.join();
        }
    }

    // Touched by the thread only, but before it begins
    Endpoint endpoint;
    Endpoint::connection_ptr client;

    std::thread thread;
};

CWebSocketClient::CWebSocketClient(std::uint16_t port, const HttpHeaders& headers)
    : connection(std::make_unique<CConnection>(port, headers))
{
}

CWebSocketClient::~CWebSocketClient() = default;

void CWebSocketClient::Send(const std::string& text)
{
    connection->Send(text, websocketpp::frame::opcode::text);
}

void CWebSocketClient::SendBinary(const std::string& bytes)
{
    connection->Send(bytes, websocketpp::frame::opcode::binary);
}

void CWebSocketClient::SendPong(const std::string& payload)
{
    connection->SendPong(payload);
}

void CWebSocketClient::IgnorePings()
{
    connection->Change([this] { connection->answersPings = false; });
}

void CWebSocketClient::Request(const std::string& action, const std::string& topic)
{
    Json::Value request;
    request["action"] = action;
    request["topic"] = topic;
    Send(request.toStyledString());
}

void CWebSocketClient::Subscribe(const std::string& topic)
{
    Request("subscribe", topic);
    const Json::Value result = ReceiveJson();
    if (result != WebSocketResult("ok", topic, "subscribe", "Subscribed to topic"))
    {
        throw std::runtime_error("Not subscribed: " + result.toStyledString());
    }
}

std::string CWebSocketClient::Receive()
{
    return connection->Receive();
}

Json::Value CWebSocketClient::ReceiveJson()
{
    std::istringstream stream(Receive());
    Json::Value value;
    stream >> value;
    return value;
}

std::size_t CWebSocketClient::Waiting() const
{
    std::size_t count = 0;
    connection->Change([&] { count = connection->frames.size(); });
    return count;
}

std::size_t CWebSocketClient::Pings() const
{
    std::size_t count = 0;
    connection->Change([&] { count = connection->pings; });
    return count;
}

void CWebSocketClient::AwaitPings(std::size_t count)
{
    connection->Await("pings", [&] { return connection->pings >= count; });
}

void CWebSocketClient::Close()
{
    connection->Close();
}

int CWebSocketClient::AwaitClose()
{
    connection->Await("the close", [this] { return connection->closeCode.has_value(); });
    return *connection->closeCode;
}

std::string CWebSocketClient::CloseReason() const
{
    return connection->closeReason;
}

void AwaitListener(std::uint16_t port)
{
    const auto deadline = std::chrono::steady_clock::now() + TestPatience;
    while (!CRawHttp::CanConnect(port))
    {
        if (std::chrono::steady_clock::now() > deadline)
        {
            throw std::runtime_error("Nobody listens on port " + std::to_string(port));
        }
        std::this_thread::yield();
    }
    // a port may be taken before it is served
    HttpRequest(port, "GET", "/");
}

Json::Value WebSocketResult(const std::string& status,
                            const std::string& topic,
                            const std::string& action,
                            const std::string& message)
{
    Json::Value result;
    result["type"] = "result";
    result["topic"] = topic;
    result["data"]["status"] = status;
    result["data"]["action"] = action;
    result["data"]["message"] = message;
    return result;
}

Json::Value WebSocketEvent(const std::string& topic, const Json::Value& data)
{
    Json::Value event;
    event["type"] = "event";
    event["topic"] = topic;
    event["data"] = data;
    return event;
}
