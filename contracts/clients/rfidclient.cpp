#include "contracts/clients/subscribe.h"
#include "contracts/rfid.h"
#include "contracts/station.grpc.pb.h"
#include "platform/rpc/connection.h"

namespace
{

using Service = ipc::Rfid;

class CRfidClient : public IRfid
{
public:
    explicit CRfidClient(std::shared_ptr<Rpc::CConnection> connection)
        : connection(std::move(connection))
        , stub(Service::NewStub(this->connection->Channel()))
    {
    }

    ipc::MResult SetTokenReport(bool enable) override
    {
        ipc::MBool request;
        request.set_value(enable);
        return connection->Call("SetTokenReport", *stub, &Service::Stub::SetTokenReport, request);
    }

    const std::shared_ptr<Rpc::CConnection> connection;
    const std::shared_ptr<Service::Stub> stub;
};

} // namespace

template <>
std::shared_ptr<IRfid> Rpc::MakeClient<IRfid>(const std::shared_ptr<CConnection>& connection)
{
    auto client = std::make_shared<CRfidClient>(connection);
    SubscribeFor<ipc::MText>(client,
                             *connection,
                             "SubscribeTokenFound",
                             client->stub,
                             &Service::Stub::PrepareAsyncSubscribeTokenFound,
                             [](IRfid& rfid, const ipc::MText& token) { rfid.TokenFound(token.value()); });
    return client;
}
