#include "contracts/genericcontrol.h"
#include "contracts/station.grpc.pb.h"
#include "platform/rpc/offeredservice.h"

namespace
{

using Contract = ipc::WebbackendGenCtrl;

/// A controller that reads again after a while learns of the latest states.
constexpr std::size_t StatesKept = 16;
constexpr std::size_t AlivesKept = 1;

class CGenericControlService : public Rpc::IOfferedService
{
public:
    explicit CGenericControlService(std::shared_ptr<IGenericControl> control)
        : control(std::move(control))
        , enable(
              "WebbackendGenCtrl.Enable",
              [this](auto* context, auto* request, auto* writer, Rpc::SServerSide side, void* tag)
              { service.RequestEnable(context, request, writer, &side.queue, &side.queue, tag); },
              [this](const ipc::MVoid&) { return this->control->Enable(); })
        , disable(
              "WebbackendGenCtrl.Disable",
              [this](auto* context, auto* request, auto* writer, Rpc::SServerSide side, void* tag)
              { service.RequestDisable(context, request, writer, &side.queue, &side.queue, tag); },
              [this](const ipc::MVoid&) { return this->control->Disable(); })
        , states([this](auto* context, auto* request, auto* writer, Rpc::SServerSide side, void* tag)
                 { service.RequestSubscribeState(context, request, writer, &side.queue, &side.queue, tag); },
                 true,
                 StatesKept)
        , alives([this](auto* context, auto* request, auto* writer, Rpc::SServerSide side, void* tag)
                 { service.RequestSubscribeAlive(context, request, writer, &side.queue, &side.queue, tag); },
                 false,
                 AlivesKept)
    {
        this->control->StateOutput = [this](const ipc::MState& state) { states.Publish(state); };
        this->control->AliveOutput = [this] { alives.Publish(ipc::MVoid()); };
    }

    std::string Name() const override { return "WebbackendGenCtrl"; }
    grpc::Service& Service() override { return service; }

    void Begin(Rpc::SServerSide side) override
    {
        enable.Begin(side);
        disable.Begin(side);
        states.Begin(side);
        alives.Begin(side);
    }

    void End() override
    {
        enable.End();
        disable.End();
        states.End();
        alives.End();
    }

private:
    const std::shared_ptr<IGenericControl> control;
    Contract::AsyncService service;
    Rpc::CUnaryOperation<ipc::MVoid, ipc::MResult> enable;
    Rpc::CUnaryOperation<ipc::MVoid, ipc::MResult> disable;
    Rpc::CStreamOperation<ipc::MVoid, ipc::MState> states;
    Rpc::CStreamOperation<ipc::MVoid, ipc::MVoid> alives;
};

} // namespace

template <>
std::unique_ptr<Rpc::IOfferedService>
Rpc::MakeOfferedService<IGenericControl>(const std::shared_ptr<IGenericControl>& object)
{
    return std::make_unique<CGenericControlService>(object);
}
