#include "statemachines/hsm.h"

#include "platform/log/log.h"

#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fakehsmevent.h"
#include "tests/support/capturedlog.h"

namespace
{

using Log::ELogLevel;
using testing::ElementsAre;
using testing::IsEmpty;

/// Real time within which another thread gets on, generous for a loaded machine.
constexpr std::chrono::seconds Deadline{30};

// A machine of its own for these tests: a lamp with the leaves "Off" and "On" below two levels of composites.

struct CLampTag
{
    static constexpr std::array<std::string_view, 7> EventNames{
        "Toggle", "Dim", "Fuse", "Unplug", "Knock", "Reset", "Ring"};
};

using Toggle = CHsmEvent<CLampTag, 0>;
using Dim = CHsmEvent<CLampTag, 1>;
using Fuse = CHsmEvent<CLampTag, 2>;
using Unplug = CHsmEvent<CLampTag, 3>;
using Knock = CHsmEvent<CLampTag, 4>;
using Reset = CHsmEvent<CLampTag, 5>;
using Ring = CHsmEvent<CLampTag, 6>;

/// Of another machine, which has an event of the same number and name.
struct COtherTag
{
    static constexpr std::array<std::string_view, 1> EventNames{"Toggle"};
};

/// Writes its actions into the log; each runs what stands beside it.
class CLampActions : public CHsmActionHandlerBase
{
public:
    void Act(const std::string& name, const std::function<void()>& effect)
    {
        LOG_PLAIN(ELogLevel::Info, "{}", name);
        if (effect)
        {
            effect();
        }
    }

    std::function<void()> onEnteringOn;
    std::function<void()> onLeavingOn;
    std::function<void()> onDimming;
};

using CLamp = CHsm<CLampActions>;
using Device = CompState<CLamp, 0, TopState<CLamp>>;
using Lamp = CompState<CLamp, 0, Device>;
using Off = LeafState<CLamp, 1, Lamp>;
using On = LeafState<CLamp, 2, Lamp>;

} // namespace

template <>
std::string_view CLamp::StateName(unsigned number)
{
    static constexpr std::array<std::string_view, 3> names{"Lamp", "Off", "On"};
    return names.at(number);
}

template <>
void CLamp::EnterInitialState()
{
    Enter<Off>();
}

template <>
bool Device::React(const Step& step)
{
    return step.On<Unplug>([](CLampActions& actions) { actions.Act("unplug", nullptr); }) ||
           step.On<Fuse>([](CLampActions& actions) { actions.Act("fuse of the device", nullptr); });
}

template <>
bool Lamp::React(const Step& step)
{
    return step.Transition<Fuse, Off>() || step.Transition<Reset, On>() ||
           step.On<Knock>([](CLampActions& actions) { actions.Act("knock at the lamp", nullptr); });
}

template <>
bool Off::React(const Step& step)
{
    return step.Transition<Toggle, On>();
}

template <>
void On::Entry(CLamp& hsm)
{
    hsm.ActionHandler().Act("entering on", hsm.ActionHandler().onEnteringOn);
}

template <>
void On::Exit(CLamp& hsm)
{
    hsm.ActionHandler().Act("leaving on", hsm.ActionHandler().onLeavingOn);
}

template <>
bool On::React(const Step& step)
{
    return step.Transition<Toggle, Off>() ||
           step.On<Dim>([](CLampActions& actions) { actions.Act("dim", actions.onDimming); }) ||
           step.On<Dim>([](CLampActions& actions) { actions.Act("second dim", nullptr); }) ||
           step.On<Knock>([](CLampActions& actions) { actions.Act("knock at on", nullptr); });
}

namespace
{

class Hsm : public testing::Test
{
protected:
    template <class Event>
    std::future<bool> Post()
    {
        auto event = std::make_shared<Event>();
        std::future<bool> outcome = event->Outcome();
        lamp->PostEvent(std::move(event));
        return outcome;
    }

    /// Runs the machine on this thread until it has handled what was posted so far.
    void RunThroughQueue()
    {
        lamp->PostEvent(std::make_shared<CFakeHsmEvent>("Enough", [this](bool) { lamp->Stop(); }));
        lamp->Run();
    }

    static CCapturedLog::SLine Trace(const std::string& text) { return {ELogLevel::Trace, text}; }
    static CCapturedLog::SLine Action(const std::string& text) { return {ELogLevel::Info, text}; }

    CCapturedLog log;
    std::shared_ptr<CLampActions> actions = std::make_shared<CLampActions>();
    std::shared_ptr<CLamp> lamp = std::make_shared<CLamp>(actions);
};

bool IsReady(const std::future<bool>& outcome)
{
    return outcome.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

/// Waits for the outcome; true if there is none for ever.
bool IsBroken(std::future<bool>& outcome)
{
    if (outcome.wait_for(Deadline) != std::future_status::ready)
    {
        ADD_FAILURE() << "no outcome in time";
        return true;
    }
    try
    {
        outcome.get();
        return false;
    }
    catch (const std::future_error& error)
    {
        return error.code() == std::future_errc::broken_promise;
    }
}

} // namespace

TEST_F(Hsm, RunEntersTheInitialStateFirst)
{
    RunThroughQueue();

    EXPECT_THAT(log.Lines(),
                ElementsAre(Trace("State Lamp: init"),
                            Trace("State Off: entry"),
                            Trace("State Off: event recv Enough"),
                            Trace("State Lamp: event unhn Enough")));
}

TEST_F(Hsm, TransitionLeavesOneLeafAndEntersTheOther)
{
    Post<Toggle>();
    Post<Toggle>();
    RunThroughQueue();

    EXPECT_THAT(log.Lines(),
                ElementsAre(Trace("State Lamp: init"),
                            Trace("State Off: entry"),
                            Trace("State Off: event recv Toggle"),
                            Trace("State Off: event hndl Toggle"),
                            Trace("State Off: exit"),
                            Trace("State On: entry"),
                            Action("entering on"),
                            Trace("State On: event recv Toggle"),
                            Trace("State On: event hndl Toggle"),
                            Trace("State On: exit"),
                            Action("leaving on"),
                            Trace("State Off: entry"),
                            Trace("State Off: event recv Enough"),
                            Trace("State Lamp: event unhn Enough")));
}

TEST_F(Hsm, FirstOfTheReactionsToAnEventTakesItWithoutAChangeOfState)
{
    Post<Toggle>();
    Post<Dim>();
    lamp->PostEvent(std::make_shared<CFakeHsmEvent>("Mark", [this](bool) { log.Clear(); }));
    Post<Dim>();
    RunThroughQueue();

    EXPECT_THAT(log.Lines(),
                ElementsAre(Trace("State On: event recv Dim"),
                            Trace("State On: event hndl Dim"),
                            Action("dim"),
                            Trace("State On: event recv Enough"),
                            Trace("State Lamp: event unhn Enough")));
}

TEST_F(Hsm, ReactionOfTheLeafGoesBeforeThatOfTheComposite)
{
    Post<Toggle>();
    lamp->PostEvent(std::make_shared<CFakeHsmEvent>("Mark", [this](bool) { log.Clear(); }));
    Post<Knock>();
    RunThroughQueue();

    EXPECT_THAT(log.Lines(),
                ElementsAre(Trace("State On: event recv Knock"),
                            Trace("State On: event hndl Knock"),
                            Action("knock at on"),
                            Trace("State On: event recv Enough"),
                            Trace("State Lamp: event unhn Enough")));
}

TEST_F(Hsm, ReactionOfTheCompositeIsLoggedUnderItsNameAndLeavesTheLeaf)
{
    Post<Toggle>();
    lamp->PostEvent(std::make_shared<CFakeHsmEvent>("Mark", [this](bool) { log.Clear(); }));
    std::future<bool> outcome = Post<Fuse>();
    RunThroughQueue();

    EXPECT_TRUE(outcome.get());
    EXPECT_THAT(log.Lines(),
                ElementsAre(Trace("State On: event recv Fuse"),
                            Trace("State Lamp: event hndl Fuse"),
                            Trace("State On: exit"),
                            Action("leaving on"),
                            Trace("State Off: entry"),
                            Trace("State Off: event recv Enough"),
                            Trace("State Lamp: event unhn Enough")));
}

TEST_F(Hsm, ReactionOfTheCompositeIntoTheSameLeafLeavesAndEntersIt)
{
    Post<Toggle>();
    lamp->PostEvent(std::make_shared<CFakeHsmEvent>("Mark", [this](bool) { log.Clear(); }));
    Post<Reset>();
    RunThroughQueue();

    EXPECT_THAT(log.Lines(),
                ElementsAre(Trace("State On: event recv Reset"),
                            Trace("State Lamp: event hndl Reset"),
                            Trace("State On: exit"),
                            Action("leaving on"),
                            Trace("State On: entry"),
                            Action("entering on"),
                            Trace("State On: event recv Enough"),
                            Trace("State Lamp: event unhn Enough")));
}

TEST_F(Hsm, ReactionOfTheOuterCompositeIsInherited)
{
    std::future<bool> outcome = Post<Unplug>();
    RunThroughQueue();

    EXPECT_TRUE(outcome.get());
    EXPECT_TRUE(log.Has(ELogLevel::Info, "unplug"));
    EXPECT_FALSE(log.Has(ELogLevel::Trace, "State Lamp: event unhn Unplug"));
}

TEST_F(Hsm, UnknownEventIsAnsweredFalseAndChangesNothing)
{
    Post<Toggle>();
    lamp->PostEvent(std::make_shared<CFakeHsmEvent>("Mark", [this](bool) { log.Clear(); }));
    std::future<bool> outcome = Post<Ring>();
    RunThroughQueue();

    EXPECT_FALSE(outcome.get());
    EXPECT_THAT(log.Lines(),
                ElementsAre(Trace("State On: event recv Ring"),
                            Trace("State Lamp: event unhn Ring"),
                            Trace("State On: event recv Enough"),
                            Trace("State Lamp: event unhn Enough")));
}

TEST_F(Hsm, EventOfAnotherMachineIsUnknownThoughNameAndNumberAreTheSame)
{
    std::future<bool> outcome = Post<CHsmEvent<COtherTag, 0>>();
    RunThroughQueue();

    EXPECT_FALSE(outcome.get());
    EXPECT_TRUE(log.Has(ELogLevel::Trace, "State Lamp: event unhn Toggle"));
}

TEST_F(Hsm, SenderSeesTrueBeforeTheActionsOfTheTransition)
{
    Post<Toggle>();
    std::future<bool> outcome = Post<Toggle>();
    bool wasReady = false;
    actions->onEnteringOn = [&] { EXPECT_FALSE(IsReady(outcome)); };
    actions->onLeavingOn = [&] { wasReady = IsReady(outcome); };
    RunThroughQueue();

    EXPECT_TRUE(wasReady);
    EXPECT_TRUE(outcome.get());
}

TEST_F(Hsm, SenderSeesTrueBeforeTheActionOfAReactionWithoutTransition)
{
    Post<Toggle>();
    std::future<bool> outcome = Post<Dim>();
    bool wasReady = false;
    actions->onDimming = [&] { wasReady = IsReady(outcome); };
    RunThroughQueue();

    EXPECT_TRUE(wasReady);
}

TEST_F(Hsm, EventsPostedByAnEntryActionAreHandledInPostingOrderInTheStatesThatFollow)
{
    actions->onEnteringOn = [this]
    {
        actions->Post<Dim>();
        actions->Post<Toggle>();
        actions->Post<Dim>();
        lamp->PostEvent(std::make_shared<CFakeHsmEvent>("Enough", [this](bool) { lamp->Stop(); }));
    };
    Post<Toggle>();
    lamp->Run();

    EXPECT_THAT(log.Lines(),
                ElementsAre(Trace("State Lamp: init"),
                            Trace("State Off: entry"),
                            Trace("State Off: event recv Toggle"),
                            Trace("State Off: event hndl Toggle"),
                            Trace("State Off: exit"),
                            Trace("State On: entry"),
                            Action("entering on"),
                            Trace("State On: event recv Dim"),
                            Trace("State On: event hndl Dim"),
                            Action("dim"),
                            Trace("State On: event recv Toggle"),
                            Trace("State On: event hndl Toggle"),
                            Trace("State On: exit"),
                            Action("leaving on"),
                            Trace("State Off: entry"),
                            Trace("State Off: event recv Dim"),
                            Trace("State Lamp: event unhn Dim"),
                            Trace("State Off: event recv Enough"),
                            Trace("State Lamp: event unhn Enough")));
}

TEST_F(Hsm, NullEventIsSkippedWithoutALine)
{
    lamp->PostEvent(nullptr);
    std::future<bool> outcome = Post<Unplug>();
    RunThroughQueue();

    EXPECT_TRUE(outcome.get());
    EXPECT_THAT(log.Lines(),
                ElementsAre(Trace("State Lamp: init"),
                            Trace("State Off: entry"),
                            Trace("State Off: event recv Unplug"),
                            Trace("State Lamp: event hndl Unplug"),
                            Action("unplug"),
                            Trace("State Off: event recv Enough"),
                            Trace("State Lamp: event unhn Enough")));
}

TEST_F(Hsm, StopEndsRunAfterTheReactionUnderWayAndLeavesTheRestUnprocessed)
{
    actions->onLeavingOn = [this] { lamp->Stop(); };
    Post<Toggle>();
    Post<Toggle>();
    std::future<bool> rest = Post<Toggle>();
    EXPECT_TRUE(lamp->IsRunning());
    lamp->Run();

    EXPECT_FALSE(lamp->IsRunning());
    EXPECT_FALSE(IsReady(rest));
    EXPECT_EQ(log.Lines().back(), Trace("State Off: entry"));
}

TEST_F(Hsm, StopBeforeRunStillLetsItEnterTheInitialState)
{
    std::future<bool> outcome = Post<Toggle>();
    lamp->Stop();
    lamp->Run();

    EXPECT_FALSE(IsReady(outcome));
    EXPECT_THAT(log.Lines(), ElementsAre(Trace("State Lamp: init"), Trace("State Off: entry")));
}

TEST_F(Hsm, RunAfterStopReturnsAtOnce)
{
    RunThroughQueue();
    log.Clear();
    std::future<bool> outcome = Post<Toggle>();
    lamp->Run();

    EXPECT_FALSE(IsReady(outcome));
    EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST_F(Hsm, WhatAnActionThrowsLeavesRunAndALaterRunGoesOnInTheStateBefore)
{
    actions->onEnteringOn = [] { throw std::runtime_error("no bulb"); };
    Post<Toggle>();
    EXPECT_THROW(lamp->Run(), std::runtime_error);
    EXPECT_TRUE(lamp->IsRunning());

    log.Clear();
    RunThroughQueue();

    EXPECT_THAT(log.Lines(),
                ElementsAre(Trace("State Off: event recv Enough"), Trace("State Lamp: event unhn Enough")));
}

TEST_F(Hsm, WaitingRunTakesTheEventsOfOtherThreadsAndEndsByTheirStop)
{
    std::thread machine([this] { lamp->Run(); });
    EXPECT_TRUE(Post<Toggle>().get());
    EXPECT_TRUE(Post<Dim>().get());
    EXPECT_FALSE(Post<Ring>().get());
    lamp->Stop();
    machine.join();

    EXPECT_FALSE(lamp->IsRunning());
}

TEST_F(Hsm, HandlesEachEventOfManyThreadsOnce)
{
    constexpr int Senders = 4;
    constexpr int Events = 100;
    int dimmed = 0;
    actions->onDimming = [&] { ++dimmed; };
    Post<Toggle>();
    std::thread machine([this] { lamp->Run(); });

    std::atomic<int> handled{0};
    std::vector<std::thread> senders;
    for (int sender = 0; sender < Senders; ++sender)
    {
        senders.emplace_back(
            [&]
            {
                for (int event = 0; event < Events; ++event)
                {
                    handled += Post<Dim>().get() ? 1 : 0;
                }
            });
    }
    for (std::thread& sender : senders)
    {
        sender.join();
    }
    lamp->Stop();
    machine.join();

    EXPECT_EQ(handled, Senders * Events);
    EXPECT_EQ(dimmed, Senders * Events);
}

TEST_F(Hsm, ProcessedEventIsReleasedBeforeTheNextIsTaken)
{
    auto event = std::make_shared<Toggle>();
    const std::weak_ptr<Toggle> released = event;
    lamp->PostEvent(std::move(event));
    bool wasReleased = false;
    lamp->PostEvent(std::make_shared<CFakeHsmEvent>("Next", [&](bool) { wasReleased = released.expired(); }));
    RunThroughQueue();

    EXPECT_TRUE(wasReleased);
}

TEST_F(Hsm, CloseBreaksThePromisesOfTheEventsThatWait)
{
    lamp->Stop();
    std::future<bool> first = Post<Toggle>();
    std::future<bool> second = Post<Dim>();
    lamp->Run();
    EXPECT_FALSE(IsReady(first));
    lamp->Close();

    EXPECT_TRUE(IsBroken(first));
    EXPECT_TRUE(IsBroken(second));
}

TEST_F(Hsm, EventPostedAfterCloseIsDroppedAtOnce)
{
    lamp->Stop();
    lamp->Run();
    lamp->Close();
    auto event = std::make_shared<Toggle>();
    const std::weak_ptr<Toggle> dropped = event;
    std::future<bool> outcome = event->Outcome();
    lamp->PostEvent(std::move(event));

    EXPECT_TRUE(dropped.expired());
    EXPECT_TRUE(IsBroken(outcome));
}

TEST_F(Hsm, NoSenderWaitsForEverWhileTheMachineEnds)
{
    std::thread machine(
        [this]
        {
            lamp->Run();
            lamp->Close();
        });
    std::vector<std::thread> senders;
    for (int sender = 0; sender < 3; ++sender)
    {
        senders.emplace_back(
            [this]
            {
                for (std::future<bool> outcome = Post<Unplug>(); !IsBroken(outcome);)
                {
                    outcome = Post<Unplug>();
                }
            });
    }
    EXPECT_TRUE(Post<Unplug>().get());
    lamp->Stop();
    for (std::thread& sender : senders)
    {
        sender.join();
    }
    machine.join();
}

TEST_F(Hsm, DestroyedMachineBreaksThePromisesOfItsQueue)
{
    std::future<bool> outcome = Post<Toggle>();
    lamp.reset();

    EXPECT_TRUE(IsBroken(outcome));
}

TEST(HsmActionHandlerBase, PostWithoutAMachineIsALogicError)
{
    CLampActions actions;
    try
    {
        actions.Post<Toggle>();
        FAIL() << "posted";
    }
    catch (const std::logic_error& error)
    {
        EXPECT_STREQ(error.what(), "CHsmActionHandlerBase: IHsmInterface not set");
    }
}

TEST(HsmActionHandlerBase, PostAfterTheMachineIsGoneIsALogicError)
{
    const auto actions = std::make_shared<CLampActions>();
    std::make_unique<CLamp>(actions).reset();

    EXPECT_THROW(actions->Post<Toggle>(), std::logic_error);
}

TEST(HsmEvent, IsNamedByItsNumber)
{
    EXPECT_EQ(Toggle().Name(), "Toggle");
    EXPECT_EQ(Ring().Name(), "Ring");
    EXPECT_EQ(&Ring().Name(), &Ring().Name()) << "one text for all events of the number";
}
