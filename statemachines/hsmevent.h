#pragma once

#include <array>
#include <future>
#include <string>
#include <string_view>

/// An event on its way to a state machine. It is posted once.
class IHsmEvent
{
public:
    IHsmEvent() = default;
    IHsmEvent(const IHsmEvent&) = delete;
    IHsmEvent& operator=(const IHsmEvent&) = delete;
    IHsmEvent(IHsmEvent&&) = delete;
    IHsmEvent& operator=(IHsmEvent&&) = delete;

    virtual const std::string& Name() const = 0;

    /// Tells the sender whether the machine takes the event up. Called by the machine, before the actions
    /// run.
    virtual void Answer(bool handled) = 0;

    virtual ~IHsmEvent() = default;
};

/// Event number N of the machine that Tag stands for. Tag is an empty type that lists the names of the
/// machine's events by number, as Tag::EventNames. Threads: Answer on the machine's thread; the future
/// belongs to the sender.
template <class Tag, unsigned N>
class CHsmEvent : public IHsmEvent
{
public:
    const std::string& Name() const override
    {
        static const std::string name{std::get<N>(Tag::EventNames)};
        return name;
    }

    void Answer(bool handled) override { outcome.set_value(handled); }

    /// The sender's way of learning the outcome: true when the machine handled the event, false when it
    /// didn't; a std::future_error when the event went away unprocessed. To be taken once, before the event
    /// is posted.
    std::future<bool> Outcome() { return outcome.get_future(); }

private:
    std::promise<bool> outcome;
};
