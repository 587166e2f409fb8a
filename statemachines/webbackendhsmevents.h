#pragma once

#include "statemachines/hsmevent.h"

#include <array>
#include <string_view>

/// Tells the process's machine apart from others, and names its events by their numbers.
struct CWebbackendHsmTag
{
    static constexpr std::array<std::string_view, 12> EventNames{"ExtDisableReq",
                                                                 "ExtEnableReq",
                                                                 "ExtError",
                                                                 "IntDisablingDone",
                                                                 "IntEnablingDone",
                                                                 "IntError",
                                                                 "IntFatalError",
                                                                 "IntInitializingDone",
                                                                 "IntRecover",
                                                                 "IntRecoveringDone",
                                                                 "IntTerminate",
                                                                 "IntTerminatingDone"};
};

/// Events and states of the process's machine. Ext events come from outside the process; Int events are its
/// own.
namespace WebbackendHsm
{

using ExtDisableReq = CHsmEvent<CWebbackendHsmTag, 0>;
using ExtEnableReq = CHsmEvent<CWebbackendHsmTag, 1>;
using ExtError = CHsmEvent<CWebbackendHsmTag, 2>;
using IntDisablingDone = CHsmEvent<CWebbackendHsmTag, 3>;
using IntEnablingDone = CHsmEvent<CWebbackendHsmTag, 4>;
using IntError = CHsmEvent<CWebbackendHsmTag, 5>;
using IntFatalError = CHsmEvent<CWebbackendHsmTag, 6>;
using IntInitializingDone = CHsmEvent<CWebbackendHsmTag, 7>;
using IntRecover = CHsmEvent<CWebbackendHsmTag, 8>;
using IntRecoveringDone = CHsmEvent<CWebbackendHsmTag, 9>;
using IntTerminate = CHsmEvent<CWebbackendHsmTag, 10>;
using IntTerminatingDone = CHsmEvent<CWebbackendHsmTag, 11>;

} // namespace WebbackendHsm
