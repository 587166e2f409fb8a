#pragma once

#include "statemachines/webbackendhsmactionhandlerbase.h"

#include "platform/log/log.h"

#include <functional>
#include <map>
#include <string>

/// Actions that only write their names into the log, at info level and without a prefix, so that a captured
/// log shows them in their order among the lines of the machine. A hook of the action's name runs after that.
class CFakeWebbackendActions : public CWebbackendHsmActionHandlerBase
{
public:
    /// Also gives each report a function that does the same.
    CFakeWebbackendActions()
    {
        ExtDisabledRsp = [this] { Act("ExtDisabledRsp"); };
        ExtEnabledRsp = [this] { Act("ExtEnabledRsp"); };
        ExtErrorRsp = [this] { Act("ExtErrorRsp"); };
        ExtFatalErrorRsp = [this] { Act("ExtFatalErrorRsp"); };
        ExtUninitializedRsp = [this] { Act("ExtUninitializedRsp"); };
    }

    void IntStopAliveTimer() override { Act("IntStopAliveTimer"); }
    void IntStartAliveTimer() override { Act("IntStartAliveTimer"); }
    void IntStartComponents() override { Act("IntStartComponents"); }
    void IntStartServers() override { Act("IntStartServers"); }
    void IntStopComponents() override { Act("IntStopComponents"); }
    void IntStopServers() override { Act("IntStopServers"); }

    /// Assigned while the machine doesn't run.
    std::map<std::string, std::function<void()>> hooks;

private:
    void Act(const std::string& name)
    {
        LOG_PLAIN(Log::ELogLevel::Info, "{}", name);
        if (const auto hook = hooks.find(name); hook != hooks.end())
        {
            hook->second();
        }
    }
};
