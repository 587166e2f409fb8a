#pragma once

#include "statemachines/hsmactionhandlerbase.h"

#include <functional>

/// What the process's machine does: actions on the process, and reports to its controller.
/// Threads: the machine's thread calls all of them. The functions are assigned while the machine doesn't run;
/// an empty one is skipped.
class CWebbackendHsmActionHandlerBase : public CHsmActionHandlerBase
{
public:
    /// Ends the alive signal; when it returns no signal is under way.
    virtual void IntStopAliveTimer() = 0;

    /// Begins the alive signal, the first at once.
    virtual void IntStartAliveTimer() = 0;

    virtual void IntStartComponents() = 0;

    /// Starts the servers; each that can't be started makes the handler post IntError.
    virtual void IntStartServers() = 0;

    virtual void IntStopComponents() = 0;
    virtual void IntStopServers() = 0;

    /// Reports of the state that the process is in.
    std::function<void()> ExtDisabledRsp;
    std::function<void()> ExtEnabledRsp;
    std::function<void()> ExtErrorRsp;
    std::function<void()> ExtFatalErrorRsp;
    std::function<void()> ExtUninitializedRsp;
};
