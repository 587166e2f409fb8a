#include "contracts/clients/subscribe.h"
#include "contracts/diagnostics.h"
#include "contracts/station.grpc.pb.h"
#include "platform/rpc/connection.h"

namespace
{

using Service = ipc::Diagnostics;

class CDiagnosticsClient : public IDiagnostics
{
public:
    explicit CDiagnosticsClient(std::shared_ptr<Rpc::CConnection> connection)
        : connection(std::move(connection))
        , stub(Service::NewStub(this->connection->Channel()))
    {
    }

    ipc::MDiagnosticsSignal GetSignal(const ipc::MSignalIdentifier& identifier) override
    {
        return connection->Call("GetSignal", *stub, &Service::Stub::GetSignal, identifier);
    }

    ipc::MDiagnosticsSnapshot GetSnapshot() override
    {
        return connection->Call("GetSnapshot", *stub, &Service::Stub::GetSnapshot, ipc::MVoid());
    }

    ipc::MResult CreateFreezeFrame(const std::string& reason) override
    {
        ipc::MText request;
        request.set_value(reason);
        return connection->Call("CreateFreezeFrame", *stub, &Service::Stub::CreateFreezeFrame, request);
    }

    const std::shared_ptr<Rpc::CConnection> connection;
    const std::shared_ptr<Service::Stub> stub;
};

class CDiagnosticsReportClient : public IDiagnosticsReport
{
public:
    explicit CDiagnosticsReportClient(std::shared_ptr<Rpc::CConnection> connection)
        : connection(std::move(connection))
        , stub(Service::NewStub(this->connection->Channel()))
    {
    }

    ipc::MResult SendSignal(const ipc::MSignalReport& report) override
    {
        return connection->Call("SendSignal", *stub, &Service::Stub::SendSignal, report);
    }

private:
    const std::shared_ptr<Rpc::CConnection> connection;
    const std::unique_ptr<Service::Stub> stub;
};

} // namespace

template <>
std::shared_ptr<IDiagnostics> Rpc::MakeClient<IDiagnostics>(const std::shared_ptr<CConnection>& connection)
{
    auto client = std::make_shared<CDiagnosticsClient>(connection);
    SubscribeFor<ipc::MSignalChange>(client,
                                     *connection,
                                     "SubscribeSignalChange",
                                     client->stub,
                                     &Service::Stub::PrepareAsyncSubscribeSignalChange,
                                     [](IDiagnostics& diagnostics, const ipc::MSignalChange& change)
                                     { diagnostics.SignalChange(change.signal(), change.type()); });
    SubscribeFor<ipc::MText>(client,
                             *connection,
                             "SubscribeFreezeFrameDone",
                             client->stub,
                             &Service::Stub::PrepareAsyncSubscribeFreezeFrameDone,
                             [](IDiagnostics& diagnostics, const ipc::MText& file)
                             { diagnostics.FreezeFrameDone(file.value()); });
    return client;
}

template <>
std::shared_ptr<IDiagnosticsReport>
Rpc::MakeClient<IDiagnosticsReport>(const std::shared_ptr<CConnection>& connection)
{
    return std::make_shared<CDiagnosticsReportClient>(connection);
}
