#pragma once

#include "statemachines/hsmalive.h"
#include "statemachines/webbackendhsmactionhandlerbase.h"

#include <memory>

class CWebbackend;

/// Runs the machine's actions on the application object, and the alive timer on a worker of its own, which
/// runs from construction on. Threads: the machine's for the actions.
class CWebbackendHsmActionHandler : public CHsmAlive<CWebbackendHsmActionHandlerBase>
{
public:
    /// @param webbackend  when it is gone, each action posts IntFatalError instead of acting
    explicit CWebbackendHsmActionHandler(std::weak_ptr<CWebbackend> webbackend);

    void IntStartComponents() override;
    void IntStartServers() override;
    void IntStopComponents() override;
    void IntStopServers() override;

private:
    // Constant after construction
    const std::weak_ptr<CWebbackend> webbackend;
};
