#pragma once

#include "statemachines/hsmevent.h"
#include "statemachines/hsmtrace.h"

#include <string_view>
#include <typeinfo>

/// One event on its way through the reactions of a leaf and of the composites above it. The code of a state
/// asks its reactions in order, until one takes the event:
///
///     return step.Transition<DoorClosed, Closed>() || step.On<Knock>(Answer);
///
/// Threads: the machine's thread only.
template <class Hsm>
class CHsmStep
{
public:
    using Exit = void (*)(Hsm&);

    CHsmStep(Hsm& hsm, IHsmEvent& event, std::string_view leaf, Exit exit)
        : hsm(hsm)
        , event(event)
        , leaf(leaf)
        , exit(exit)
        , state(leaf)
    {
    }

    /// The same event at the reactions of the given state.
    CHsmStep At(std::string_view newState) const
    {
        CHsmStep step(*this);
        step.state = newState;
        return step;
    }

    /// Reaction to Event without a change of state: runs the action on the machine's action handler.
    /// @return whether the event is of this type, and is handled thereby
    template <class Event, class Action>
    bool On(Action action) const
    {
        if (!Takes<Event>())
        {
            return false;
        }
        action(hsm.ActionHandler());
        return true;
    }

    /// Reaction to Event that leaves the leaf and enters Target, be it the same one.
    /// @return whether the event is of this type, and is handled thereby
    template <class Event, class Target>
    bool Transition() const
    {
        if (!Takes<Event>())
        {
            return false;
        }
        HsmTrace::Exit(leaf);
        exit(hsm);
        hsm.template Enter<Target>();
        return true;
    }

private:
    template <class Event>
    bool Takes() const
    {
        if (typeid(event) != typeid(Event))
        {
            return false;
        }
        HsmTrace::Handled(state, event.Name());
        event.Answer(true);
        return true;
    }

    Hsm& hsm;
    IHsmEvent& event;
    std::string_view leaf;
    Exit exit;
    std::string_view state;
};
