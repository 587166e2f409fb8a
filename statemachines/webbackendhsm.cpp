#include "statemachines/webbackendhsm.h"

#include "statemachines/webbackendhsmstates.h"

#include <array>
#include <functional>

using namespace WebbackendHsm;

namespace
{

using CActions = CWebbackendHsmActionHandlerBase;

// By the number of the state; 0 is the composite.
constexpr std::array<std::string_view, 12> StateNames{"Statemachine",
                                                      "Disabled",
                                                      "Disabling",
                                                      "Enabled",
                                                      "Enabling",
                                                      "Error",
                                                      "FatalError",
                                                      "Initializing",
                                                      "Recovering",
                                                      "Terminating",
                                                      "Uninitialized",
                                                      "_Final_Statemachine"};

void Send(const std::function<void()>& report)
{
    if (report)
    {
        report();
    }
}

void SendDisabled(CActions& actions)
{
    Send(actions.ExtDisabledRsp);
}

void SendEnabled(CActions& actions)
{
    Send(actions.ExtEnabledRsp);
}

void SendFatalError(CActions& actions)
{
    Send(actions.ExtFatalErrorRsp);
}

void PostIntError(CActions& actions)
{
    actions.Post<IntError>();
}

void DoNothing(CActions& /*actions*/)
{
}

} // namespace

template <>
std::string_view CWebbackendHsm::StateName(unsigned number)
{
    return StateNames.at(number);
}

template <>
void CWebbackendHsm::EnterInitialState()
{
    Enter<Uninitialized>();
}

template <>
bool Statemachine::React(const Step& step)
{
    return step.Transition<IntError, Error>() || step.Transition<IntFatalError, FatalError>() ||
           step.Transition<IntTerminate, Terminating>() || step.On<ExtError>(PostIntError);
}

template <>
void Disabled::Entry(CWebbackendHsm& hsm)
{
    SendDisabled(hsm.ActionHandler());
}

template <>
bool Disabled::React(const Step& step)
{
    return step.Transition<ExtEnableReq, Enabling>() || step.On<ExtDisableReq>(SendDisabled);
}

template <>
void Disabling::Entry(CWebbackendHsm& hsm)
{
    hsm.ActionHandler().Post<IntDisablingDone>();
}

template <>
bool Disabling::React(const Step& step)
{
    return step.Transition<IntDisablingDone, Disabled>();
}

template <>
void Enabled::Entry(CWebbackendHsm& hsm)
{
    SendEnabled(hsm.ActionHandler());
    hsm.ActionHandler().IntStartAliveTimer();
}

template <>
void Enabled::Exit(CWebbackendHsm& hsm)
{
    hsm.ActionHandler().IntStopComponents();
    hsm.ActionHandler().IntStopServers();
    hsm.ActionHandler().IntStopAliveTimer();
}

template <>
bool Enabled::React(const Step& step)
{
    return step.Transition<ExtDisableReq, Disabling>() || step.On<ExtEnableReq>(SendEnabled);
}

// A server that doesn't start posts IntError here, ahead of IntEnablingDone.
template <>
void Enabling::Entry(CWebbackendHsm& hsm)
{
    hsm.ActionHandler().IntStartServers();
    hsm.ActionHandler().IntStartComponents();
    hsm.ActionHandler().Post<IntEnablingDone>();
}

template <>
bool Enabling::React(const Step& step)
{
    return step.Transition<IntEnablingDone, Enabled>();
}

template <>
void Error::Entry(CWebbackendHsm& hsm)
{
    Send(hsm.ActionHandler().ExtErrorRsp);
    hsm.ActionHandler().Post<IntRecover>();
}

template <>
bool Error::React(const Step& step)
{
    return step.Transition<IntRecover, Recovering>();
}

template <>
void FatalError::Entry(CWebbackendHsm& hsm)
{
    SendFatalError(hsm.ActionHandler());
}

template <>
bool FatalError::React(const Step& step)
{
    return step.On<IntError>(DoNothing) || step.On<ExtDisableReq>(DoNothing) ||
           step.On<ExtEnableReq>(SendFatalError);
}

template <>
void Initializing::Entry(CWebbackendHsm& hsm)
{
    hsm.ActionHandler().Post<IntInitializingDone>();
}

template <>
bool Initializing::React(const Step& step)
{
    return step.Transition<IntInitializingDone, Disabled>();
}

template <>
void Recovering::Entry(CWebbackendHsm& hsm)
{
    hsm.ActionHandler().Post<IntRecoveringDone>();
}

template <>
bool Recovering::React(const Step& step)
{
    return step.Transition<IntRecoveringDone, Disabled>();
}

template <>
void Terminating::Entry(CWebbackendHsm& hsm)
{
    hsm.ActionHandler().Post<IntTerminatingDone>();
}

template <>
bool Terminating::React(const Step& step)
{
    return step.Transition<IntTerminatingDone, Final>();
}

template <>
void Uninitialized::Entry(CWebbackendHsm& hsm)
{
    Send(hsm.ActionHandler().ExtUninitializedRsp);
}

template <>
bool Uninitialized::React(const Step& step)
{
    return step.Transition<ExtDisableReq, Initializing>();
}

template <>
void Final::Entry(CWebbackendHsm& hsm)
{
    hsm.Stop();
}
