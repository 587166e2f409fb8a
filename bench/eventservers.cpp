#include "bench/eventservers.h"

#include "src/session/authorization.h"
#include "src/websocket/message.h"
#include "src/websocket/websocketserver.h"

#include "contracts/diagnostics.h"
#include "contracts/diagnostics/diagnosticscommclient.h"
#include "platform/config/tarnconfig.h"
#include "platform/worker/worker.h"

#include <json/value.h>
#include <websocketpp/config/asio_no_tls.hpp>
#include <websocketpp/server.hpp>

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <thread>

#include "tests/support/quickpassword.h"
#include "tests/support/temporarydirectory.h"

const char* const SubscribeRequest = R"({"topic": "/news", "action": "subscribe"})";
const char* const UnsubscribeRequest = R"({"topic": "/news", "action": "unsubscribe"})";

namespace
{

const std::string Topic = "/news";

Json::Value Result(const std::string& action, const std::string& message)
{
    Json::Value data;
    data["action"] = action;
    data["message"] = message;
    data["status"] = "ok";
    return data;
}

std::string Text(const std::string& type, const Json::Value& data)
{
    return *CMessage(type, Topic, data).Text();
}

/// The data of an event whose text has EventLength bytes.
Json::Value EventData()
{
    Json::Value data;
    data["State"] = "Charging";
    data["Text"] = "";
    data["Text"] = std::string(EventLength - Text("event", data).size(), 'x');
    return data;
}

/// Has events notified as the standard input wants it, until its end.
[[noreturn]] void ObeyInput(SEventServerState& state, const std::function<void()>& notify)
{
    std::uint32_t events = 0;
    while (read(STDIN_FILENO, &events, sizeof(events)) == sizeof(events))
    {
        for (; events > 0; --events)
        {
            state.notified = std::chrono::steady_clock::now().time_since_epoch().count();
            notify();
        }
    }
    // the clients need not have gone
    std::_Exit(EXIT_SUCCESS);
}

/// websocketpp with a thread of its own and nothing above it.
class CBareEventServer
{
public:
    CBareEventServer(std::uint16_t port, websocketpp::log::level accessLog)
        : subscribed(Prepared(Text("result", Result("subscribe", "Subscribed to topic"))))
        , unsubscribed(Prepared(Text("result", Result("unsubscribe", "Unsubscribed from topic"))))
        , event(Prepared(Text("event", EventData())))
    {
        endpoint.clear_access_channels(websocketpp::log::alevel::all);
        endpoint.set_access_channels(accessLog);
        endpoint.init_asio();
        endpoint.set_reuse_addr(true);
        endpoint.set_message_handler(
            [this](const Connection& connection, const Endpoint::message_ptr& message)
            { OnMessage(connection, message->get_payload()); });
        endpoint.set_tcp_pre_init_handler(
            [this](const Connection& connection) {
                endpoint.get_con_from_hdl(connection)
                    ->get_raw_socket()
                    .set_option(asio::ip::tcp::no_delay(true));
            });
        endpoint.listen(asio::ip::tcp::v4(), port);
        endpoint.start_accept();
        thread = std::thread([this] { endpoint.run(); });
    }

    void Notify()
    {
        asio::post(endpoint.get_io_service(),
                   [this]
                   {
                       for (const Connection& connection : subscribers)
                       {
                           endpoint.send(connection, event);
                       }
                   });
    }

private:
    using Endpoint = websocketpp::server<websocketpp::config::asio>;
    using Connection = websocketpp::connection_hdl;
    using Message = websocketpp::config::asio::message_type;

    static Message::ptr Prepared(const std::string& text)
    {
        namespace frame = websocketpp::frame;
        const auto message = std::make_shared<Message>(
            std::make_shared<Message::con_msg_man_type>(), frame::opcode::text, text.size());
        const frame::basic_header header(frame::opcode::text, text.size(), true, false);
        message->set_header(frame::prepare_header(header, frame::extended_header(text.size())));
        message->set_payload(text);
        message->set_prepared(true);
        return message;
    }

    void OnMessage(const Connection& connection, const std::string& request)
    {
        if (request == UnsubscribeRequest)
        {
            subscribers.erase(connection);
            endpoint.send(connection, unsubscribed);
            return;
        }
        endpoint.send(connection, subscribed);
        subscribers.insert(connection);
        endpoint.send(connection, event);
    }

    const Message::ptr subscribed;
    const Message::ptr unsubscribed;
    const Message::ptr event;
    Endpoint endpoint;
    std::set<Connection, std::owner_less<Connection>> subscribers;
    std::thread thread;
};

[[noreturn]] void ServeBare(std::uint16_t port, websocketpp::log::level accessLog, SEventServerState& state)
{
    CBareEventServer server(port, accessLog);
    ObeyInput(state, [&] { server.Notify(); });
}

[[noreturn]] void
ServeOurs(std::uint16_t port, std::shared_ptr<IAuthorization> authorization, SEventServerState& state)
{
    CWorker worker;
    worker.Start();
    const auto server = std::make_shared<CWebSocketServer>(port, worker, std::move(authorization));
    const std::shared_ptr<ITopic> topic = server->CreateTopic(Topic);
    const Json::Value event = EventData();
    topic->OnSubscribe = [&](const ITopic::Reply& reply) { reply(event); };
    server->Start();
    ObeyInput(state, [&] { topic->Broadcast(event); });
}

/// Takes the signals of logins, as a service that answers at once would.
class CSilentReport : public IDiagnosticsReport
{
public:
    ipc::MResult SendSignal(const ipc::MSignalReport& /*report*/) override { return {}; }
};

/// An authorization with its sessions, whose keys @p state gets.
std::shared_ptr<IAuthorization> MakeAuthorization(SEventServerState& state)
{
    const std::string password = "correct horse";
    const CTemporaryDirectory directory;
    directory.Write("etc/config/secrets.json",
                    R"({"WebIfManagementPassword": ")" + EncodedQuickly(password) + "\"}");
    CDiagnosticsCommClient::Initialize(std::make_shared<CSilentReport>());
    const auto authorization =
        std::make_shared<CAuthorization>(TarnConfig::Create("secrets", directory.Root()));
    for (auto& session : state.sessions)
    {
        const std::string key = *authorization->CreateSession(password, 36000, false);
        key.copy(session.data(), session.size() - 1);
    }
    return authorization;
}

} // namespace

void ServeEvents(EEventServer kind, std::uint16_t port, SEventServerState& state)
{
    switch (kind)
    {
    case EEventServer::BareSilent:
        ServeBare(port, websocketpp::log::alevel::none, state);
    case EEventServer::Bare:
        ServeBare(port, websocketpp::log::alevel::all & ~websocketpp::log::alevel::frame_payload, state);
    case EEventServer::Ours:
        ServeOurs(port, nullptr, state);
    case EEventServer::OursWithSessions:
        ServeOurs(port, MakeAuthorization(state), state);
    }
    std::_Exit(EXIT_FAILURE);
}
