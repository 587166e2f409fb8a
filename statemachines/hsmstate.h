/// The state classes of a machine. A machine names its states by aliases, and says what they do by
/// specialising their members Entry, Exit and React in its own files:
///
///     using House = CompState<CHouseHsm, 0, TopState<CHouseHsm>>;
///     using Open = LeafState<CHouseHsm, 1, House>;
///     template <> void Open::Entry(CHouseHsm& hsm);
///
/// States hold no data: each leaf has one instance, and the machine points to that of the leaf it is in.
/// Threads: the machine's thread only.
#pragma once

#include "statemachines/hsmevent.h"
#include "statemachines/hsmstep.h"
#include "statemachines/hsmtrace.h"

#include <string_view>

/// Root of a machine's states.
template <class Hsm>
class TopState
{
public:
    TopState(const TopState&) = delete;
    TopState& operator=(const TopState&) = delete;
    TopState(TopState&&) = delete;
    TopState& operator=(TopState&&) = delete;
    virtual ~TopState() = default;

    /// Handles one event to the end, and answers it.
    virtual void Process(Hsm& hsm, IHsmEvent& event) const = 0;

protected:
    constexpr TopState() = default;

    static bool Handle(const CHsmStep<Hsm>& /*step*/) { return false; }
};

/// A composite state: its reactions are those of every leaf below that has none of its own for the event.
/// @tparam N  number of the name; 0 for composites
template <class Hsm, unsigned N, class Parent>
class CompState : public Parent
{
public:
    using Step = CHsmStep<Hsm>;

    static std::string_view Name() { return Hsm::StateName(N); }

    /// The composite's own reactions, in order; none unless specialised.
    /// @return whether one of them took the event
    static bool React(const Step& step);

protected:
    static bool Handle(const Step& step) { return React(step.At(Name())) || Parent::Handle(step); }
};

/// A state that the machine can be in.
/// @tparam N  number of the state
template <class Hsm, unsigned N, class Parent>
class LeafState final : public Parent
{
public:
    using Step = CHsmStep<Hsm>;

    static const LeafState Instance;

    static std::string_view Name() { return Hsm::StateName(N); }

    /// What happens when the machine enters and leaves the state; nothing unless specialised.
    static void Entry(Hsm& hsm);
    static void Exit(Hsm& hsm);

    /// The leaf's own reactions, in order, which go before those of its composites; none unless specialised.
    /// @return whether one of them took the event
    static bool React(const Step& step);

    void Process(Hsm& hsm, IHsmEvent& event) const override;

private:
    constexpr LeafState() = default;
};

template <class Hsm, unsigned N, class Parent>
bool CompState<Hsm, N, Parent>::React(const Step& /*step*/)
{
    return false;
}

template <class Hsm, unsigned N, class Parent>
const LeafState<Hsm, N, Parent> LeafState<Hsm, N, Parent>::Instance{};

template <class Hsm, unsigned N, class Parent>
void LeafState<Hsm, N, Parent>::Entry(Hsm& /*hsm*/)
{
}

template <class Hsm, unsigned N, class Parent>
void LeafState<Hsm, N, Parent>::Exit(Hsm& /*hsm*/)
{
}

template <class Hsm, unsigned N, class Parent>
bool LeafState<Hsm, N, Parent>::React(const Step& /*step*/)
{
    return false;
}

template <class Hsm, unsigned N, class Parent>
void LeafState<Hsm, N, Parent>::Process(Hsm& hsm, IHsmEvent& event) const
{
    HsmTrace::Received(Name(), event.Name());
    const Step step(hsm, event, Name(), &LeafState::Exit);
    if (!React(step) && !Parent::Handle(step))
    {
        HsmTrace::Unhandled(Parent::Name(), event.Name());
        event.Answer(false);
    }
}
