#include "contracts/boardcontrol.h"
#include "contracts/clients/subscribe.h"
#include "contracts/station.grpc.pb.h"
#include "platform/rpc/connection.h"

namespace
{

using Service = ipc::BoardControl;

class CBoardControlClient : public IBoardControl
{
public:
    explicit CBoardControlClient(std::shared_ptr<Rpc::CConnection> connection)
        : connection(std::move(connection))
        , stub(Service::NewStub(this->connection->Channel()))
    {
    }

    ipc::MResult Reboot(ERebootType type) override
    {
        ipc::MRebootType request;
        request.set_type(static_cast<int>(type));
        return connection->Call("Reboot", *stub, &Service::Stub::Reboot, request);
    }

    ipc::MResult RequestFirmwareUpdate(const std::string& requester) override
    {
        ipc::MText request;
        request.set_value(requester);
        return connection->Call(
            "RequestFirmwareUpdate", *stub, &Service::Stub::RequestFirmwareUpdate, request);
    }

    const std::shared_ptr<Rpc::CConnection> connection;
    const std::shared_ptr<Service::Stub> stub;
};

} // namespace

template <>
std::shared_ptr<IBoardControl> Rpc::MakeClient<IBoardControl>(const std::shared_ptr<CConnection>& connection)
{
    auto client = std::make_shared<CBoardControlClient>(connection);
    SubscribeFor<ipc::MFwUpdateStatus>(client,
                                       *connection,
                                       "SubscribeFirmwareUpdateStatus",
                                       client->stub,
                                       &Service::Stub::PrepareAsyncSubscribeFirmwareUpdateStatus,
                                       [](IBoardControl& board, const ipc::MFwUpdateStatus& status)
                                       { board.FirmwareUpdateStatus(status); });
    return client;
}
