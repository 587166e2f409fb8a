#include "simulator/controller/controllerlogic.h"

#include "contracts/station.pb.h"

#include <algorithm>

namespace Simulator
{

namespace
{

constexpr std::chrono::milliseconds LongestPause{30000};

/// doublings after which every pause has its longest length
constexpr unsigned DoublingLimit = 16;

} // namespace

CControllerLogic::CControllerLogic(std::chrono::milliseconds firstPause)
    : firstPause(firstPause)
{
}

std::optional<CControllerLogic::SPlan> CControllerLogic::StateReported(int newState)
{
    state = newState;
    if (newState == ipc::EStateError)
    {
        ++failures;
    }
    else if (newState == ipc::EStateEnabled)
    {
        failures = 0;
    }
    return PresentPlan();
}

std::optional<CControllerLogic::SPlan> CControllerLogic::RequestFailed(ERequest request)
{
    const auto plan = PresentPlan();
    if (plan && plan->request == request)
    {
        ++failures;
    }
    return PresentPlan();
}

void CControllerLogic::Disconnected()
{
    state.reset();
    failures = 0;
}

std::optional<CControllerLogic::SPlan> CControllerLogic::PresentPlan() const
{
    if (state == ipc::EStateUninitialized)
    {
        return SPlan{ERequest::Disable, Pause()};
    }
    if (state == ipc::EStateDisabled)
    {
        return SPlan{ERequest::Enable, Pause()};
    }
    return std::nullopt;
}

std::chrono::milliseconds CControllerLogic::Pause() const
{
    if (failures == 0)
    {
        return std::chrono::milliseconds(0);
    }
    return std::min(LongestPause, firstPause * (1U << std::min(failures - 1, DoublingLimit)));
}

} // namespace Simulator
