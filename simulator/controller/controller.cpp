#include "simulator/controller/controller.h"

#include "platform/log/log.h"

#include <exception>
#include <stdexcept>
#include <utility>

namespace Simulator
{

namespace
{

constexpr std::chrono::seconds RequestTimeLimit{10};
constexpr std::chrono::seconds LongestWaitForAlive{2};

const char* NameOf(ERequest request)
{
    return request == ERequest::Enable ? "Enable" : "Disable";
}

} // namespace

CController::CController(std::string address, std::chrono::milliseconds firstPause, UtcSource utcNow)
    : address(std::move(address))
    , record(std::move(utcNow))
    , worker("controller")
    , logic(firstPause)
    , states(this->address, [this](auto& stub, auto& context) { return ListenToStates(stub, context); })
    , alives(this->address, [this](auto& stub, auto& context) { return ListenToAlive(stub, context); })
{
}

CController::~CController()
{
    Stop();
}

void CController::Start()
{
    worker.Start();
    states.Start();
    alives.Start();
}

void CController::Stop()
{
    calls.CancelAll();
    // whoever waits for the alive signals is let go
    SetAliveStands(true);
    states.Stop();
    alives.Stop();
    worker.Stop();
}

void CController::SetMode(EMode newMode)
{
    const std::lock_guard lock(mutex);
    mode = newMode;
    ScheduleLocked(logic.PresentPlan());
}

CController::EMode CController::Mode() const
{
    const std::lock_guard lock(mutex);
    return mode;
}

int CController::Send(ERequest request)
{
    ipc::MResult result;
    grpc::Status status;
    calls.Run(
        [&](grpc::ClientContext& context)
        {
            context.set_deadline(std::chrono::system_clock::now() + RequestTimeLimit);
            const auto stub = ipc::WebbackendGenCtrl::NewStub(MakeFreshChannel(address));
            status = request == ERequest::Enable ? stub->Enable(&context, ipc::MVoid(), &result)
                                                 : stub->Disable(&context, ipc::MVoid(), &result);
        });
    if (!status.ok())
    {
        throw std::runtime_error(std::string(NameOf(request)) + ": " + status.error_message());
    }
    LOG_INFO("{} answered {}", NameOf(request), static_cast<int>(result.status()));
    return result.status();
}

bool CController::ListenToStates(ipc::WebbackendGenCtrl::Stub& stub, grpc::ClientContext& context)
{
    const bool wasConnected =
        ReadToEnd<ipc::MState>(stub.SubscribeState(&context, ipc::MVoid()),
                               [this](const ipc::MState& state) { HandleState(state.state()); });
    if (wasConnected)
    {
        HandleDisconnect();
    }
    return wasConnected;
}

bool CController::ListenToAlive(ipc::WebbackendGenCtrl::Stub& stub, grpc::ClientContext& context)
{
    auto reader = stub.SubscribeAlive(&context, ipc::MVoid());
    reader->WaitForInitialMetadata();
    SetAliveStands(true);
    const bool hasRead =
        ReadToEnd<ipc::MVoid>(std::move(reader), [this](const ipc::MVoid&) { record.AddAlive(); });
    SetAliveStands(false);
    return hasRead;
}

void CController::SetAliveStands(bool stands)
{
    {
        const std::lock_guard lock(mutex);
        aliveStands = stands;
    }
    aliveChanged.notify_all();
}

void CController::AwaitAlive()
{
    std::unique_lock lock(mutex);
    aliveChanged.wait_for(lock, LongestWaitForAlive, [this] { return aliveStands; });
}

void CController::HandleState(int state)
{
    AwaitAlive();
    LOG_INFO("The process reports state {}", state);
    record.AddState(state);
    const std::lock_guard lock(mutex);
    ScheduleLocked(logic.StateReported(state));
}

void CController::HandleDisconnect()
{
    LOG_INFO("The process is gone");
    record.SetDisconnected();
    const std::lock_guard lock(mutex);
    logic.Disconnected();
    ScheduleLocked(std::nullopt);
}

void CController::ScheduleLocked(const Plan& plan)
{
    planned.reset();
    if (plan && mode == EMode::Automatic)
    {
        planned = worker.AddCall([this, request = plan->request] { Execute(request); },
                                 worker.Now() + plan->pause,
                                 std::chrono::nanoseconds(0));
    }
}

void CController::Execute(ERequest request)
{
    std::string reason;
    try
    {
        const int code = Send(request);
        if (code == ipc::EResultOk)
        {
            return;
        }
        reason = "refused with " + std::to_string(code);
    }
    catch (const std::exception& error)
    {
        reason = error.what();
    }
    LOG_WARN("{} failed: {}", NameOf(request), reason);
    const std::lock_guard lock(mutex);
    ScheduleLocked(logic.RequestFailed(request));
}

} // namespace Simulator
