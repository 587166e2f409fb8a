#include "contracts/currentcontrol.h"
#include "contracts/station.grpc.pb.h"
#include "platform/rpc/connection.h"

namespace
{

using Service = ipc::CurrentControl;

class CCurrentControlClient : public ICurrentControl
{
public:
    explicit CCurrentControlClient(std::shared_ptr<Rpc::CConnection> connection)
        : connection(std::move(connection))
        , stub(Service::NewStub(this->connection->Channel()))
    {
    }

    ipc::MResult SetLimit(const ipc::MCurrentControlLimit& limit) override
    {
        return connection->Call("SetLimit", *stub, &Service::Stub::SetLimit, limit);
    }

    ipc::MResult ClearLimit(const ipc::MCurrentControlLimit& limit) override
    {
        return connection->Call("ClearLimit", *stub, &Service::Stub::ClearLimit, limit);
    }

private:
    const std::shared_ptr<Rpc::CConnection> connection;
    const std::unique_ptr<Service::Stub> stub;
};

} // namespace

template <>
std::shared_ptr<ICurrentControl>
Rpc::MakeClient<ICurrentControl>(const std::shared_ptr<CConnection>& connection)
{
    return std::make_shared<CCurrentControlClient>(connection);
}
