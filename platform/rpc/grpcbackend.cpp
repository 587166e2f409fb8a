#include "platform/rpc/grpcbackend.h"

#include "platform/rpc/connection.h"
#include "platform/rpc/eventloop.h"
#include "platform/rpc/offeredservice.h"
#include "platform/rpc/taskqueue.h"
#include "platform/rpc/transportconfig.h"
#include "platform/rpc/transportlog.h"
#include "platform/worker/heldsignals.h"

#include <grpcpp/create_channel.h>
#include <grpcpp/security/credentials.h>
#include <grpcpp/security/server_credentials.h>
#include <grpcpp/server.h>
#include <grpcpp/server_builder.h>

#include <stdlib.h>

#include <chrono>
#include <map>
#include <stdexcept>
#include <utility>
#include <vector>

namespace
{

// Back-off between two attempts to reach a service
constexpr int FirstReconnectMilliseconds = 100;
constexpr int LongestReconnectMilliseconds = 5000;

// The least that one attempt is given
constexpr int ConnectAttemptMilliseconds = 5000;

// How a peer on another host that went away without a word is found out, at the pace that servers allow by
// default; a local socket tells by itself
constexpr int KeepaliveMilliseconds = 300000;
constexpr int KeepaliveTimeoutMilliseconds = 20000;

std::shared_ptr<grpc::Channel> MakeChannel(const std::string& address)
{
    grpc::ChannelArguments arguments;
    arguments.SetInt(GRPC_ARG_INITIAL_RECONNECT_BACKOFF_MS, FirstReconnectMilliseconds);
    arguments.SetInt(GRPC_ARG_MIN_RECONNECT_BACKOFF_MS, ConnectAttemptMilliseconds);
    arguments.SetInt(GRPC_ARG_MAX_RECONNECT_BACKOFF_MS, LongestReconnectMilliseconds);
    arguments.SetInt(GRPC_ARG_ENABLE_HTTP_PROXY, 0);
    // messages are small: measuring the bandwidth would only wake the process
    arguments.SetInt(GRPC_ARG_HTTP2_BDP_PROBE, 0);
    if (address.rfind("unix:", 0) != 0)
    {
        arguments.SetInt(GRPC_ARG_KEEPALIVE_TIME_MS, KeepaliveMilliseconds);
        arguments.SetInt(GRPC_ARG_KEEPALIVE_TIMEOUT_MS, KeepaliveTimeoutMilliseconds);
        arguments.SetInt(GRPC_ARG_HTTP2_MAX_PINGS_WITHOUT_DATA, 0);
    }
    return grpc::CreateCustomChannel(address, grpc::InsecureChannelCredentials(), arguments);
}

/// What the library reads from the environment when its first object is made.
class CLibrarySettings
{
public:
    CLibrarySettings()
    {
        // It polls its channels every five seconds in case nobody else does; our event loop always does.
        constexpr int whateverItWas = 1;
        setenv("GRPC_CLIENT_CHANNEL_BACKUP_POLL_INTERVAL_MS", "0", whateverItWas);
    }
};

} // namespace

class GrpcBackend::CImplementation
{
public:
    explicit CImplementation(Rpc::STransportConfig newConfig)
        : config(std::move(newConfig))
        , loop(builder.AddCompletionQueue())
        , notifications(std::make_shared<Rpc::CNotificationHub>(loop))
    {
        loop.Start();
    }

    ~CImplementation()
    {
        Stop();
        loop.Join();
    }

    CImplementation(const CImplementation&) = delete;
    CImplementation& operator=(const CImplementation&) = delete;
    CImplementation(CImplementation&&) = delete;
    CImplementation& operator=(CImplementation&&) = delete;

    std::shared_ptr<Rpc::CConnection> Connect(const std::string& service)
    {
        std::shared_ptr<grpc::Channel>& channel = channels[service];
        if (!channel)
        {
            channel = MakeChannel(config.AddressOf(service));
        }
        connections.push_back(std::make_shared<Rpc::CConnection>(service, channel, notifications));
        return connections.back();
    }

    void Offer(const std::string& name, std::unique_ptr<Rpc::IOfferedService> service)
    {
        if (service->Name() != name)
        {
            throw std::logic_error("The service " + service->Name() + " cannot be offered as " + name);
        }
        services.push_back(std::move(service));
    }

    void StartServices()
    {
        builder.AddChannelArgument(GRPC_ARG_HTTP2_BDP_PROBE, 0);
        // a second process must not share the port
        builder.AddChannelArgument(GRPC_ARG_ALLOW_REUSEPORT, 0);
        builder.AddListeningPort(config.listen, grpc::InsecureServerCredentials());
        for (const auto& service : services)
        {
            builder.RegisterService(&service->Service());
        }
        server = builder.BuildAndStart();
        if (!server)
        {
            throw std::runtime_error("Cannot listen at " + config.listen);
        }
        for (const auto& service : services)
        {
            service->Begin({loop, loop.Queue(), handlers});
        }
    }

    void RunServer() { handlers.Run(); }
    void HandleClientNotifications() { notifications->Run(); }

    void Stop()
    {
        if (server)
        {
            // Ends the calls under way, whose last operations the loop still handles
            server->Shutdown(std::chrono::system_clock::now());
        }
        loop.Close(
            [this]
            {
                notifications->Cancel();
                for (const auto& service : services)
                {
                    service->End();
                }
            });
        handlers.Close();
        notifications->Stop();
    }

    void InterruptCalls()
    {
        for (const auto& connection : connections)
        {
            connection->InterruptCalls();
        }
    }

    void ResumeCalls()
    {
        for (const auto& connection : connections)
        {
            connection->ResumeCalls();
        }
    }

private:
    // Constant once the services are started. What the loop's operations point into goes after the loop.
    const Rpc::STransportConfig config;
    const CLibrarySettings librarySettings;
    std::vector<std::unique_ptr<Rpc::IOfferedService>> services;
    Rpc::CTaskQueue handlers;
    grpc::ServerBuilder builder;
    Rpc::CEventLoop loop;
    const std::shared_ptr<Rpc::CNotificationHub> notifications;
    std::map<std::string, std::shared_ptr<grpc::Channel>> channels;
    std::vector<std::shared_ptr<Rpc::CConnection>> connections;
    std::unique_ptr<grpc::Server> server;
};

void GrpcBackend::SetLogger(std::shared_ptr<Rpc::ILogger> logger)
{
    Rpc::SetTransportLog(std::move(logger));
}

std::unique_ptr<GrpcBackend::CImplementation> GrpcBackend::MakeImplementation(const std::string& configPath)
{
    Rpc::STransportConfig config = Rpc::ReadTransportConfig(configPath);
    const CHeldSignals held;
    return std::make_unique<CImplementation>(std::move(config));
}

GrpcBackend::GrpcBackend(const std::string& configPath)
    : implementation(MakeImplementation(configPath))
{
}

GrpcBackend::~GrpcBackend() = default;

void GrpcBackend::StartServices()
{
    const CHeldSignals held;
    implementation->StartServices();
}

void GrpcBackend::RunServer()
{
    implementation->RunServer();
}

void GrpcBackend::HandleClientNotifications()
{
    implementation->HandleClientNotifications();
}

void GrpcBackend::Stop()
{
    implementation->Stop();
}

void GrpcBackend::InterruptCalls()
{
    implementation->InterruptCalls();
}

void GrpcBackend::ResumeCalls()
{
    implementation->ResumeCalls();
}

std::shared_ptr<Rpc::CConnection> GrpcBackend::Connect(const std::string& service)
{
    const CHeldSignals held;
    return implementation->Connect(service);
}

void GrpcBackend::Offer(const std::string& name, std::unique_ptr<Rpc::IOfferedService> service)
{
    implementation->Offer(name, std::move(service));
}
