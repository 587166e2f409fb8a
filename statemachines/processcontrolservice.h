#pragma once

#include "contracts/genericcontrol.h"

#include <functional>
#include <mutex>

/// The service through which the process is switched on and off: its controller calls one side of it, the
/// process's own machine the other. Threads: any. A call that is under way when its function is replaced ends
/// undisturbed.
class CProcessControlService : public IGenericControl, public IProcessControl
{
public:
    using ControlCall = std::function<ipc::MResult()>;

    /// What the two incoming calls run; an empty function takes the present one away.
    void SetEnableCall(ControlCall call);
    void SetDisableCall(ControlCall call);

    /// @throws std::bad_function_call while there is no function for the call
    ipc::MResult Enable() override;
    ipc::MResult Disable() override;

    void SendState(const ipc::MState& state) override;
    void SendAlive() override;

private:
    void Replace(ControlCall& present, ControlCall& call);
    ControlCall Copy(const ControlCall& present);

    std::mutex mutex;

    // Guarded by mutex
    ControlCall enableCall;
    ControlCall disableCall;
};
