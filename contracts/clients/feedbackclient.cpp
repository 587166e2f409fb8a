#include "contracts/feedback.h"
#include "contracts/station.grpc.pb.h"
#include "platform/rpc/connection.h"

namespace
{

using Service = ipc::Feedback;

class CFeedbackClient : public IFeedback
{
public:
    explicit CFeedbackClient(std::shared_ptr<Rpc::CConnection> connection)
        : connection(std::move(connection))
        , stub(Service::NewStub(this->connection->Channel()))
    {
    }

    ipc::MResult SendEvent(const ipc::MFbEventType& event) override
    {
        return connection->Call("SendEvent", *stub, &Service::Stub::SendEvent, event);
    }

private:
    const std::shared_ptr<Rpc::CConnection> connection;
    const std::unique_ptr<Service::Stub> stub;
};

} // namespace

template <>
std::shared_ptr<IFeedback> Rpc::MakeClient<IFeedback>(const std::shared_ptr<CConnection>& connection)
{
    return std::make_shared<CFeedbackClient>(connection);
}
