#include "contracts/clients/subscribe.h"
#include "contracts/sessionmanager.h"
#include "contracts/station.grpc.pb.h"
#include "platform/rpc/connection.h"

namespace
{

using Service = ipc::SessionManager;

class CSessionManagerClient : public ISessionManager
{
public:
    explicit CSessionManagerClient(std::shared_ptr<Rpc::CConnection> connection)
        : connection(std::move(connection))
        , stub(Service::NewStub(this->connection->Channel()))
    {
    }

    ipc::MConnectorInfo GetConnectorInfo() override
    {
        return connection->Call("GetConnectorInfo", *stub, &Service::Stub::GetConnectorInfo, ipc::MVoid());
    }

    const std::shared_ptr<Rpc::CConnection> connection;
    const std::shared_ptr<Service::Stub> stub;
};

} // namespace

template <>
std::shared_ptr<ISessionManager>
Rpc::MakeClient<ISessionManager>(const std::shared_ptr<CConnection>& connection)
{
    auto client = std::make_shared<CSessionManagerClient>(connection);
    SubscribeFor<ipc::MConnectorState>(client,
                                       *connection,
                                       "SubscribeConnectorState",
                                       client->stub,
                                       &Service::Stub::PrepareAsyncSubscribeConnectorState,
                                       [](ISessionManager& manager, const ipc::MConnectorState& state)
                                       { manager.ConnectorState(state); });
    return client;
}
