#include "statemachines/processcontrolservice.h"

#include <utility>

void CProcessControlService::SetEnableCall(ControlCall call)
{
    Replace(enableCall, call);
}

void CProcessControlService::SetDisableCall(ControlCall call)
{
    Replace(disableCall, call);
}

ipc::MResult CProcessControlService::Enable()
{
    return Copy(enableCall)();
}

ipc::MResult CProcessControlService::Disable()
{
    return Copy(disableCall)();
}

void CProcessControlService::SendState(const ipc::MState& state)
{
    StateOutput(state);
}

void CProcessControlService::SendAlive()
{
    AliveOutput();
}

// By reference, so that the function taken away is destroyed by the caller, outside the lock.
void CProcessControlService::Replace(ControlCall& present, ControlCall& call)
{
    const std::lock_guard lock(mutex);
    present.swap(call);
}

CProcessControlService::ControlCall CProcessControlService::Copy(const ControlCall& present)
{
    const std::lock_guard lock(mutex);
    return present;
}
