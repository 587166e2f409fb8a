#pragma once

#include "statemachines/hsminterface.h"

#include <memory>

/// Base of the objects that run a machine's actions: what they post events with.
/// Threads: the machine's thread only.
class CHsmActionHandlerBase
{
public:
    CHsmActionHandlerBase() = default;
    CHsmActionHandlerBase(const CHsmActionHandlerBase&) = delete;
    CHsmActionHandlerBase& operator=(const CHsmActionHandlerBase&) = delete;
    CHsmActionHandlerBase(CHsmActionHandlerBase&&) = delete;
    CHsmActionHandlerBase& operator=(CHsmActionHandlerBase&&) = delete;
    virtual ~CHsmActionHandlerBase() = default;

    /// The machine enters itself here, and takes itself out with null when it is destroyed.
    void SetHsmInterface(IHsmInterface* newHsm);

    /// Makes an event and posts it; nobody waits for its outcome.
    /// @throws std::logic_error while there is no machine
    template <class Event>
    void Post()
    {
        Hsm().PostEvent(std::make_shared<Event>());
    }

private:
    IHsmInterface& Hsm() const;

    IHsmInterface* hsm = nullptr;
};
