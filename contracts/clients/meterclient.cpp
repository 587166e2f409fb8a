#include "contracts/meter.h"
#include "contracts/station.grpc.pb.h"
#include "platform/rpc/connection.h"

namespace
{

using Service = ipc::MeterService;

ipc::MResult Refusal()
{
    ipc::MResult result;
    result.set_status(ipc::EResultIllegal);
    return result;
}

class CMeterClient : public IMeter
{
public:
    explicit CMeterClient(std::shared_ptr<Rpc::CConnection> connection)
        : connection(std::move(connection))
        , stub(Service::NewStub(this->connection->Channel()))
    {
    }

    ipc::MMeterData GetMeterData() override
    {
        return connection->Call("GetMeterData", *stub, &Service::Stub::GetMeterData, ipc::MVoid());
    }

    ipc::MResult Enable() override { return Refusal(); }
    ipc::MResult Disable() override { return Refusal(); }
    ipc::MResult Reset() override { return Refusal(); }
    std::string GetSerialNumber() override { return {}; }
    ipc::MResult StartSession() override { return Refusal(); }
    ipc::MResult StopSession() override { return Refusal(); }
    ipc::MResult EnableDisplay() override { return Refusal(); }
    ipc::MResult DisableDisplay() override { return Refusal(); }
    ipc::MResult SelfTest() override { return Refusal(); }
    std::string GetFirmwareVersion() override { return {}; }

private:
    const std::shared_ptr<Rpc::CConnection> connection;
    const std::unique_ptr<Service::Stub> stub;
};

} // namespace

template <>
std::shared_ptr<IMeter> Rpc::MakeClient<IMeter>(const std::shared_ptr<CConnection>& connection)
{
    return std::make_shared<CMeterClient>(connection);
}
