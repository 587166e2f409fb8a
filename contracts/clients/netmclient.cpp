#include "contracts/clients/subscribe.h"
#include "contracts/netm.h"
#include "contracts/station.grpc.pb.h"
#include "platform/rpc/connection.h"

namespace
{

using Service = ipc::NetM;

class CNetMClient : public INetM
{
public:
    explicit CNetMClient(std::shared_ptr<Rpc::CConnection> connection)
        : connection(std::move(connection))
        , stub(Service::NewStub(this->connection->Channel()))
    {
    }

    std::optional<ipc::MScanWlan> ScanWlan() override
    {
        const ipc::MScanWlanResult result =
            connection->Call("ScanWlan", *stub, &Service::Stub::ScanWlan, ipc::MVoid());
        return result.has_scan() ? std::make_optional(result.scan()) : std::nullopt;
    }

    bool ValidateConfig() override
    {
        return connection->Call("ValidateConfig", *stub, &Service::Stub::ValidateConfig, ipc::MVoid())
            .value();
    }

    const std::shared_ptr<Rpc::CConnection> connection;
    const std::shared_ptr<Service::Stub> stub;
};

} // namespace

template <>
std::shared_ptr<INetM> Rpc::MakeClient<INetM>(const std::shared_ptr<CConnection>& connection)
{
    auto client = std::make_shared<CNetMClient>(connection);
    SubscribeFor<ipc::MNetStatus>(client,
                                  *connection,
                                  "SubscribeNetworkStatus",
                                  client->stub,
                                  &Service::Stub::PrepareAsyncSubscribeNetworkStatus,
                                  [](INetM& netM, const ipc::MNetStatus& status)
                                  { netM.NetworkStatus(status); });
    return client;
}
