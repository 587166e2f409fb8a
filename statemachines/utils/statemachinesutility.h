/// Joins the process's machine with the service that controls it.
#pragma once

#include "statemachines/hsminterface.h"

#include "contracts/genericcontrol.h"
#include "platform/log/log.h"

#include <functional>
#include <memory>

/// A call of the controller's: posts ExtEnableReq or ExtDisableReq and waits until the machine has accepted
/// or refused it. Status 0 when it was handled, 1 when not.
/// @throws std::future_error when the machine ended without looking at the request
std::function<ipc::MResult()> MakeEnableCall(const std::shared_ptr<IHsmInterface>& hsm);
std::function<ipc::MResult()> MakeDisableCall(const std::shared_ptr<IHsmInterface>& hsm);

/// A report of the machine's: sends the state to the controller.
/// @param name  the report's name in the log; a literal
template <class Service>
std::function<void()>
MakeStateReport(const char* name, ipc::EState state, const std::shared_ptr<Service>& service)
{
    return [name, state, service]
    {
        LOG_TRACE("{}", name);
        ipc::MState message;
        message.set_state(state);
        service->SendState(message);
    };
}

/// Connects the controller's calls with the machine, and the machine's reports and alive signal with the
/// controller. The three hold each other from then on, until DisconnectIProcessControl. To be called before
/// the machine runs and before the service is offered.
template <class ActionHandler, class Service>
void ConnectIProcessControl(const std::shared_ptr<ActionHandler>& actionHandler,
                            const std::shared_ptr<Service>& service,
                            const std::shared_ptr<IHsmInterface>& hsm)
{
    service->SetEnableCall(MakeEnableCall(hsm));
    service->SetDisableCall(MakeDisableCall(hsm));
    actionHandler->ExtUninitializedRsp =
        MakeStateReport("ExtUninitializedRsp", ipc::EStateUninitialized, service);
    actionHandler->ExtDisabledRsp = MakeStateReport("ExtDisabledRsp", ipc::EStateDisabled, service);
    actionHandler->ExtEnabledRsp = MakeStateReport("ExtEnabledRsp", ipc::EStateEnabled, service);
    actionHandler->ExtErrorRsp = MakeStateReport("ExtErrorRsp", ipc::EStateError, service);
    actionHandler->ExtFatalErrorRsp = MakeStateReport("ExtFatalErrorRsp", ipc::EStateFatalError, service);
    actionHandler->ExtSendAlive = [service]
    {
        LOG_TRACE("ExtSendAlive");
        service->SendAlive();
    };
}

/// Takes back what ConnectIProcessControl has set, so that handler, service and machine let go of each other.
/// To be called when the machine's Run has returned. Calls of the controller may still come in: they get a
/// std::bad_function_call.
template <class ActionHandler, class Service>
void DisconnectIProcessControl(const std::shared_ptr<ActionHandler>& actionHandler,
                               const std::shared_ptr<Service>& service)
{
    service->SetEnableCall(nullptr);
    service->SetDisableCall(nullptr);
    actionHandler->ExtUninitializedRsp = nullptr;
    actionHandler->ExtDisabledRsp = nullptr;
    actionHandler->ExtEnabledRsp = nullptr;
    actionHandler->ExtErrorRsp = nullptr;
    actionHandler->ExtFatalErrorRsp = nullptr;
    actionHandler->ExtSendAlive = nullptr;
}
