/// The machine that switches the process on and off.
///
/// It begins in "Uninitialized", and waits there for its controller to disable it, which initialises the
/// process. Then "Disabled" and "Enabled" follow the controller's requests by way of "Enabling" and
/// "Disabling". Entering "Enabling" starts servers and components, and any way out of "Enabled" stops them. A
/// failed start leads through "Error" and "Recovering" back to "Disabled"; "FatalError" is left by
/// IntTerminate only. IntTerminate ends the machine from every state, and Run returns.
#pragma once

#include "statemachines/hsm.h"
#include "statemachines/webbackendhsmactionhandlerbase.h"
#include "statemachines/webbackendhsmevents.h"

#include <string_view>

using CWebbackendHsm = CHsm<CWebbackendHsmActionHandlerBase>;

template <>
std::string_view CWebbackendHsm::StateName(unsigned number);

template <>
void CWebbackendHsm::EnterInitialState();
