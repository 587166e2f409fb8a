#include "src/websocket/websocketserver.h"

#include "src/api/httpexception.h"
#include "src/session/authorization.h"
#include "src/websocket/cookie.h"
#include "src/websocket/ieventsender.h"
#include "src/websocket/message.h"
#include "src/websocket/websockettopic.h"

#include "platform/log/log.h"
#include "platform/worker/worker.h"

#include <json/reader.h>
#include <websocketpp/config/asio_no_tls.hpp>
#include <websocketpp/server.hpp>

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <stdexcept>
#include <utility>
#include <vector>

namespace
{

using Endpoint = websocketpp::server<websocketpp::config::asio>;
using Connection = std::weak_ptr<void>;
using Frame = Endpoint::message_ptr;

/// The frame of a text, ready to be sent to clients of all versions of the protocol but 0. The texts of
/// messages are ASCII, so there is nothing to check.
Frame MakeFrame(const std::string& text)
{
    using Message = Frame::element_type;
    namespace frame = websocketpp::frame;
    const auto message = std::make_shared<Message>(nullptr, frame::opcode::text, text.size());
    const frame::basic_header header(frame::opcode::text, text.size(), true, false);
    message->set_header(frame::prepare_header(header, frame::extended_header(text.size())));
    message->set_payload(text);
    message->set_prepared(true);
    return message;
}

/// Whether the client speaks version 0 of the protocol.
bool IsOld(const Endpoint::connection_ptr& client)
{
    auto request = client->get_request();
    return websocketpp::processor::get_websocket_version(request) == 0;
}

constexpr auto Unauthorized = static_cast<websocketpp::close::status::value>(4401);
constexpr std::chrono::seconds PingPeriod{20};

/// Bytes of messages that may wait for a client before it is disconnected.
constexpr std::size_t MaxWaitingBytes = 1024U * 1024U;

const std::string ResultType = "result";
const std::string UnknownTopic = "/unknown";

bool Parse(Json::CharReader& reader, const std::string& text, Json::Value& root)
{
    std::string errors;
    try
    {
        return reader.parse(text.data(), text.data() + text.size(), &root, &errors);
    }
    catch (const Json::Exception&)
    {
        // nested too deeply for the reader
        return false;
    }
}

} // namespace

/// What the server's thread works on.
///
/// The library's objects are not for several threads, whatever their names promise: they are used on the
/// server's thread only. The others leave there what they want done.
class CWebSocketServer::CImplementation : public IEventSender,
                                          public std::enable_shared_from_this<CImplementation>
{
public:
    CImplementation(unsigned short port, std::shared_ptr<IAuthorization> authorization);

    std::shared_ptr<ITopic> CreateTopic(const std::string& name);
    bool IsConnectionAuthorized(const Connection& connection) override;
    void Respond(const Connection& connection, CMessage& message) override;

    bool IsRunning() const { return running; }

    /// The server's thread.
    void Serve();
    void StopListening();

    /// Lets Serve end when the last client is gone, even if the port was not taken yet.
    void End();

    void RequestPings();

private:
    struct SOutgoing
    {
        Connection connection;
        std::shared_ptr<const std::string> text;
    };

    void OnOpen(const Connection& connection);
    void OnClose(const Connection& connection);
    static void OnPong(const std::string& payload);
    static void OnPongTimeout(const std::string& payload);
    void OnMessage(const Connection& connection, const Endpoint::message_ptr& message);
    void ProcessAction(const Connection& connection, const Json::Value& request);

    /// @return the session id that the connection presents; nothing if it is refused
    std::optional<std::string> Authorize(const Connection& connection);
    void DisconnectUnauthorized(const Connection& connection);

    void RespondResult(const Connection& connection,
                       const std::string& status,
                       const std::string& topic,
                       const std::string& action,
                       const std::string& message);
    void RespondOk(const Connection& connection,
                   const std::string& topic,
                   const std::string& action,
                   const std::string& message);
    void RespondError(const Connection& connection,
                      const std::string& topic,
                      const std::string& action,
                      const std::string& message);

    void SendOutgoing();
    void Send(const SOutgoing& message);
    void PingAll();

    /// Runs @p function on the server's thread, or here when that has ended, and waits for it.
    void RunOnServerThread(const std::function<void()>& function);

    // Constant after construction
    const unsigned short port;
    const std::shared_ptr<IAuthorization> authorization;

    // Constant after Start
    std::map<std::string, std::shared_ptr<CWebSocketTopic>> topics;

    // Touched by the server's thread only, and by the one that stops it when that has ended; others leave
    // tasks in its queue
    Endpoint endpoint;

    // Touched by the server's thread only
    const std::unique_ptr<Json::CharReader> reader;
    // the last text that was sent, and its frame, which the next clients share
    std::shared_ptr<const std::string> frameText;
    Frame frame;
    // those who speak version 0 of the protocol, whose frames are others
    std::set<Connection, std::owner_less<Connection>> oldClients;

    // Set by the server's thread, once
    std::atomic<bool> running{false};

    std::mutex mutex;
    std::condition_variable changed;

    // Guarded by mutex
    std::map<Connection, std::string, std::owner_less<Connection>> sessions;
    std::vector<SOutgoing> outgoing;
    std::thread::id servingThread;
    bool serving = false;
    bool ending = false;
};

CWebSocketServer::CImplementation::CImplementation(unsigned short port,
                                                   std::shared_ptr<IAuthorization> authorization)
    : port(port)
    , authorization(std::move(authorization))
    , reader(Json::CharReaderBuilder().newCharReader())
{
    endpoint.set_access_channels(websocketpp::log::alevel::all);
    endpoint.clear_access_channels(websocketpp::log::alevel::frame_payload);
    endpoint.init_asio();
    endpoint.set_reuse_addr(true);
    endpoint.set_open_handler([this](const Connection& connection) { OnOpen(connection); });
    endpoint.set_close_handler([this](const Connection& connection) { OnClose(connection); });
    endpoint.set_pong_handler([](const Connection&, const std::string& payload) { OnPong(payload); });
    endpoint.set_pong_timeout_handler([](const Connection&, const std::string& payload)
                                      { OnPongTimeout(payload); });
    endpoint.set_message_handler([this](const Connection& connection, const Endpoint::message_ptr& message)
                                 { OnMessage(connection, message); });
    endpoint.set_tcp_pre_init_handler(
        [this](const Connection& connection)
        {
            // or two frames in a row wait for each other
            asio::error_code ignored;
            endpoint.get_con_from_hdl(connection)
                ->get_raw_socket()
                .set_option(asio::ip::tcp::no_delay(true), ignored);
        });
}

std::shared_ptr<ITopic> CWebSocketServer::CImplementation::CreateTopic(const std::string& name)
{
    return topics.emplace(name, std::make_shared<CWebSocketTopic>(name, weak_from_this())).first->second;
}

bool CWebSocketServer::CImplementation::IsConnectionAuthorized(const Connection& connection)
{
    LOG_ENTRY(CWebSocketServer, "IsConnectionAuthorized");
    if (!authorization)
    {
        return true;
    }
    std::string session;
    {
        const std::lock_guard lock(mutex);
        session = sessions[connection];
    }
    return authorization->IsSessionValid(session);
}

void CWebSocketServer::CImplementation::Respond(const Connection& connection, CMessage& message)
{
    LOG_ENTRY(CWebSocketServer, "Respond");
    SOutgoing next{connection, message.Text()};
    {
        const std::lock_guard lock(mutex);
        if (!serving)
        {
            return;
        }
        // behind those that wait, or the order would be lost
        if (servingThread != std::this_thread::get_id() || !outgoing.empty())
        {
            if (outgoing.empty())
            {
                asio::post(endpoint.get_io_service(), [this] { SendOutgoing(); });
            }
            outgoing.push_back(std::move(next));
            return;
        }
    }
    Send(next);
}

void CWebSocketServer::CImplementation::Serve()
{
    pthread_setname_np(pthread_self(), "websocket");
    endpoint.listen(asio::ip::tcp::v4(), port);
    endpoint.start_accept();
    bool endsAtOnce = false;
    {
        const std::lock_guard lock(mutex);
        serving = true;
        servingThread = std::this_thread::get_id();
        endsAtOnce = ending;
    }
    if (endsAtOnce)
    {
        endpoint.stop_listening();
    }
    running = true;
    try
    {
        endpoint.run();
    }
    catch (const std::exception& error)
    {
        LOG_ERROR("Websocket server stopped running. Reason: {}", error.what());
    }
    const std::lock_guard lock(mutex);
    serving = false;
    outgoing.clear();
    changed.notify_all();
}

void CWebSocketServer::CImplementation::RunOnServerThread(const std::function<void()>& function)
{
    std::unique_lock lock(mutex);
    if (serving)
    {
        const auto done = std::make_shared<bool>(false);
        asio::post(endpoint.get_io_service(),
                   [this, function, done]
                   {
                       function();
                       const std::lock_guard doneLock(mutex);
                       *done = true;
                       changed.notify_all();
                   });
        changed.wait(lock, [&] { return *done || !serving; });
        if (*done)
        {
            return;
        }
    }
    lock.unlock();
    function();
}

void CWebSocketServer::CImplementation::StopListening()
{
    RunOnServerThread(
        [this]
        {
            websocketpp::lib::error_code error;
            endpoint.stop_listening(error);
            if (error)
            {
                LOG_ERROR("Could not stop websocket server. Error: {}", error.message());
            }
        });
}

void CWebSocketServer::CImplementation::End()
{
    {
        const std::lock_guard lock(mutex);
        ending = true;
        if (!serving)
        {
            return;
        }
    }
    RunOnServerThread(
        [this]
        {
            if (endpoint.is_listening())
            {
                endpoint.stop_listening();
            }
        });
}

void CWebSocketServer::CImplementation::OnOpen(const Connection& connection)
{
    LOG_ENTRY(CWebSocketServer, "OnOpen");
    if (IsOld(endpoint.get_con_from_hdl(connection)))
    {
        oldClients.insert(connection);
    }
    if (std::optional<std::string> session = Authorize(connection))
    {
        const std::lock_guard lock(mutex);
        sessions.try_emplace(connection, std::move(*session));
    }
    else
    {
        DisconnectUnauthorized(connection);
    }
}

std::optional<std::string> CWebSocketServer::CImplementation::Authorize(const Connection& connection)
{
    if (!authorization)
    {
        LOG_INFO("No authorization required (we are probably in commissioning mode). WebSocket connection is "
                 "accepted.");
        return std::string();
    }
    const std::string header = endpoint.get_con_from_hdl(connection)->get_request_header("Cookie");
    if (header.empty())
    {
        LOG_ERROR("Refusing WebSocket connection because the handshake request does not contain a sessionid "
                  "cookie.");
        return std::nullopt;
    }
    std::optional<std::string> session = ExtractCookie(header, "sessionid", ';');
    if (!session || session->empty())
    {
        LOG_ERROR("Refusing WebSocket connection because the handshake request does not contain a "
                  "sessionid.");
        return std::nullopt;
    }
    if (!authorization->IsSessionValid(*session))
    {
        LOG_ERROR("Refusing WebSocket connection because the presented sessionid '{}' is not associated with "
                  "a valid session.",
                  *session);
        return std::nullopt;
    }
    return session;
}

void CWebSocketServer::CImplementation::DisconnectUnauthorized(const Connection& connection)
{
    LOG_ENTRY(CWebSocketServer, "DisconnectUnauthorized");
    endpoint.get_con_from_hdl(connection)->close(Unauthorized, "Unauthorized");
}

void CWebSocketServer::CImplementation::OnClose(const Connection& connection)
{
    LOG_ENTRY(CWebSocketServer, "OnClose");
    for (const auto& topic : topics)
    {
        topic.second->RemoveConnection(connection);
    }
    oldClients.erase(connection);
    const std::lock_guard lock(mutex);
    sessions.erase(connection);
}

void CWebSocketServer::CImplementation::OnPong(const std::string& payload)
{
    LOG_ENTRY(CWebSocketServer, "OnPong");
    LOG_TRACE("Received websocket pong message from client: \"{}\".", payload);
}

void CWebSocketServer::CImplementation::OnPongTimeout(const std::string& payload)
{
    LOG_ENTRY(CWebSocketServer, "OnPongTimeout");
    LOG_WARN("Pong timeout was hit for websocket ping message: \"{}\".", payload);
}

void CWebSocketServer::CImplementation::OnMessage(const Connection& connection,
                                                  const Endpoint::message_ptr& message)
{
    if (message->get_opcode() != websocketpp::frame::opcode::text)
    {
        LOG_WARN("Discarded non-text message sent to websocket server");
        return;
    }
    Json::Value parsed;
    if (!Parse(*reader, message->get_payload(), parsed))
    {
        RespondError(connection, UnknownTopic, "", "Could not parse request");
        return;
    }
    // constant, so that a root of another type throws instead of being made an object
    const Json::Value& root = parsed;
    if (!root["topic"].isString() || !root["action"].isString())
    {
        // and on: the client gets a second result
        RespondError(connection, UnknownTopic, "", "Invalid request structure");
    }
    ProcessAction(connection, root);
}

void CWebSocketServer::CImplementation::ProcessAction(const Connection& connection,
                                                      const Json::Value& request)
{
    const std::string name = request["topic"].asString();
    const std::string action = request["action"].asString();
    const auto found = topics.find(name);
    if (found == topics.end())
    {
        RespondError(connection, name, action, "Invalid topic");
        LOG_ERROR("Websocket action processing failed because of invalid topic '{}'", name);
        return;
    }
    try
    {
        CWebSocketTopic& topic = *found->second;
        if (action == "subscribe")
        {
            RespondOk(connection, name, action, "Subscribed to topic");
            topic.AddConnection(connection);
        }
        else if (action == "unsubscribe")
        {
            topic.RemoveConnection(connection);
            RespondOk(connection, name, action, "Unsubscribed from topic");
        }
        else
        {
            LOG_ERROR("Websocket action processing failed because of an unknown action '' on topic ''");
            RespondError(connection, name, action, "Invalid action");
        }
    }
    catch (const HttpException& error)
    {
        LOG_ERROR("Websocket action processing failed because of an HTTP exception. Error: {}", error.what());
        RespondError(connection, name, action, error.what());
    }
    catch (const std::exception& error)
    {
        LOG_ERROR("Websocket action processing failed. Error: {}", error.what());
        RespondError(connection, name, action, "Internal server error");
    }
    catch (...)
    {
        LOG_ERROR("Websocket action processing failed because of an unknown exception.");
        RespondError(connection, name, action, "Internal server error");
    }
}

void CWebSocketServer::CImplementation::RespondResult(const Connection& connection,
                                                      const std::string& status,
                                                      const std::string& topic,
                                                      const std::string& action,
                                                      const std::string& message)
{
    LOG_ENTRY(CWebSocketServer, "RespondResult");
    Json::Value data;
    data["status"] = status;
    data["action"] = action;
    data["message"] = message;
    CMessage result(ResultType, topic, data);
    Respond(connection, result);
}

void CWebSocketServer::CImplementation::RespondOk(const Connection& connection,
                                                  const std::string& topic,
                                                  const std::string& action,
                                                  const std::string& message)
{
    RespondResult(connection, "ok", topic, action, message);
}

void CWebSocketServer::CImplementation::RespondError(const Connection& connection,
                                                     const std::string& topic,
                                                     const std::string& action,
                                                     const std::string& message)
{
    RespondResult(connection, "error", topic, action, message);
}

void CWebSocketServer::CImplementation::SendOutgoing()
{
    std::vector<SOutgoing> due;
    {
        const std::lock_guard lock(mutex);
        due.swap(outgoing);
    }
    for (const SOutgoing& message : due)
    {
        Send(message);
    }
}

void CWebSocketServer::CImplementation::Send(const SOutgoing& message)
{
    try
    {
        const Endpoint::connection_ptr client = endpoint.get_con_from_hdl(message.connection);
        if (client->get_buffered_amount() > MaxWaitingBytes &&
            client->get_state() == websocketpp::session::state::open)
        {
            LOG_WARN("Disconnecting a client that does not read its messages");
            client->close(websocketpp::close::status::policy_violation, "Too slow");
            return;
        }
        if (oldClients.count(message.connection) > 0)
        {
            endpoint.send(message.connection, *message.text, websocketpp::frame::opcode::text);
            return;
        }
        if (message.text != frameText)
        {
            frame = MakeFrame(*message.text);
            frameText = message.text;
        }
        endpoint.send(message.connection, frame);
    }
    catch (const websocketpp::exception& error)
    {
        LOG_ERROR("Could not send websocket message. Error {}: {}", error.code().value(), error.what());
    }
}

void CWebSocketServer::CImplementation::RequestPings()
{
    const std::lock_guard lock(mutex);
    if (serving)
    {
        asio::post(endpoint.get_io_service(), [this] { PingAll(); });
    }
}

void CWebSocketServer::CImplementation::PingAll()
{
    std::vector<Connection> clients;
    {
        const std::lock_guard lock(mutex);
        for (const auto& session : sessions)
        {
            clients.push_back(session.first);
        }
    }
    for (const Connection& client : clients)
    {
        try
        {
            endpoint.ping(client, "");
        }
        catch (const std::exception& error)
        {
            LOG_ERROR("Sending ping to connection failed. Removing it from the list of pinged connections. "
                      "Exception: {}",
                      error.what());
            const std::lock_guard lock(mutex);
            sessions.erase(client);
        }
    }
}

CWebSocketServer::CWebSocketServer(unsigned short port,
                                   CWorker& worker,
                                   std::shared_ptr<IAuthorization> authorization)
    : implementation(std::make_shared<CImplementation>(port, std::move(authorization)))
    , pingCall(worker.AddCall(
          [weakImplementation = std::weak_ptr<CImplementation>(implementation)]
          {
              if (const auto living = weakImplementation.lock())
              {
                  living->RequestPings();
              }
          },
          worker.Now(),
          PingPeriod))
{
    LOG_ENTRY(CWebSocketServer, "CWebSocketServer");
}

CWebSocketServer::~CWebSocketServer()
{
    LOG_ENTRY(CWebSocketServer, "~CWebSocketServer");
    Stop();
    pingCall->Cancel();
    implementation->End();
    if (thread.joinable())
    {
        thread.join();
    }
}

std::shared_ptr<ITopic> CWebSocketServer::CreateTopic(const std::string& name)
{
    LOG_ENTRY(CWebSocketServer, "CreateTopic");
    return implementation->CreateTopic(name);
}

void CWebSocketServer::Start()
{
    LOG_ENTRY(CWebSocketServer, "Start");
    if (implementation->IsRunning() || thread.joinable())
    {
        throw std::runtime_error("Websocket already started");
    }
    thread = std::thread([shared = implementation] { shared->Serve(); });
}

void CWebSocketServer::Stop()
{
    LOG_ENTRY(CWebSocketServer, "Stop");
    if (!implementation->IsRunning())
    {
        LOG_WARN("Websocket server is not started. Ignoring call to stop.");
        return;
    }
    implementation->StopListening();
}

bool CWebSocketServer::IsConnectionAuthorized(const std::weak_ptr<void>& connection)
{
    return implementation->IsConnectionAuthorized(connection);
}

void CWebSocketServer::Respond(const std::weak_ptr<void>& connection,
                               const std::string& type,
                               const std::string& topic,
                               const Json::Value& data)
{
    CMessage message(type, topic, data);
    implementation->Respond(connection, message);
}
