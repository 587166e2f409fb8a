#include "statemachines/webbackendhsm.h"
#include "statemachines/webbackendhsmstates.h"

#include "platform/log/log.h"

#include <algorithm>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fakehsmevent.h"
#include "tests/fakes/fakewebbackendactions.h"
#include "tests/support/capturedlog.h"

namespace
{

using Log::ELogLevel;
using testing::ElementsAreArray;

using Texts = std::vector<std::string>;

/// What the machine is meant to do, written down apart from its code. A post is written as "post NAME".
struct SExpectedState
{
    std::string name;
    Texts entry;
    Texts exit;
};

const std::vector<SExpectedState> ExpectedStates{
    {"Disabled", {"ExtDisabledRsp"}, {}},
    {"Disabling", {"post IntDisablingDone"}, {}},
    {"Enabled",
     {"ExtEnabledRsp", "IntStartAliveTimer"},
     {"IntStopComponents", "IntStopServers", "IntStopAliveTimer"}},
    {"Enabling", {"IntStartServers", "IntStartComponents", "post IntEnablingDone"}, {}},
    {"Error", {"ExtErrorRsp", "post IntRecover"}, {}},
    {"FatalError", {"ExtFatalErrorRsp"}, {}},
    {"Initializing", {"post IntInitializingDone"}, {}},
    {"Recovering", {"post IntRecoveringDone"}, {}},
    {"Terminating", {"post IntTerminatingDone"}, {}},
    {"Uninitialized", {"ExtUninitializedRsp"}, {}},
    {"_Final_Statemachine", {}, {}},
};

struct SExpectedReaction
{
    std::string state;
    std::string event;
    /// The name under which the reaction is logged.
    std::string handler;
    /// What a reaction without a change of state does.
    Texts actions;
    /// Empty: the state stays.
    std::string next;
};

const std::string Any = "any";

// The rows of a state stand before those of any state, and the first that fits counts.
const std::vector<SExpectedReaction> ExpectedReactions{
    {"Uninitialized", "ExtDisableReq", "Uninitialized", {}, "Initializing"},
    {"Initializing", "IntInitializingDone", "Initializing", {}, "Disabled"},
    {"Disabled", "ExtEnableReq", "Disabled", {}, "Enabling"},
    {"Disabled", "ExtDisableReq", "Disabled", {"ExtDisabledRsp"}, ""},
    {"Enabling", "IntEnablingDone", "Enabling", {}, "Enabled"},
    {"Enabled", "ExtDisableReq", "Enabled", {}, "Disabling"},
    {"Enabled", "ExtEnableReq", "Enabled", {"ExtEnabledRsp"}, ""},
    {"Disabling", "IntDisablingDone", "Disabling", {}, "Disabled"},
    {"Error", "IntRecover", "Error", {}, "Recovering"},
    {"Recovering", "IntRecoveringDone", "Recovering", {}, "Disabled"},
    {"FatalError", "IntError", "FatalError", {}, ""},
    {"FatalError", "ExtDisableReq", "FatalError", {}, ""},
    {"FatalError", "ExtEnableReq", "FatalError", {"ExtFatalErrorRsp"}, ""},
    {"Terminating", "IntTerminatingDone", "Terminating", {}, "_Final_Statemachine"},
    {Any, "IntError", "Statemachine", {}, "Error"},
    {Any, "IntFatalError", "Statemachine", {}, "FatalError"},
    {Any, "IntTerminate", "Statemachine", {}, "Terminating"},
    {Any, "ExtError", "Statemachine", {"post IntError"}, ""},
};

const SExpectedState& ExpectedState(const std::string& name)
{
    return *std::find_if(ExpectedStates.begin(),
                         ExpectedStates.end(),
                         [&name](const SExpectedState& state) { return state.name == name; });
}

const SExpectedReaction* ExpectedReaction(const std::string& state, const std::string& event)
{
    const auto row =
        std::find_if(ExpectedReactions.begin(),
                     ExpectedReactions.end(),
                     [&](const SExpectedReaction& reaction) {
                         return reaction.event == event && (reaction.state == state || reaction.state == Any);
                     });
    return row == ExpectedReactions.end() ? nullptr : &*row;
}

/// The whole of what is logged when the event comes to the machine in the state: the machine's lines, and the
/// actions and posts at their places.
Texts ExpectedLines(const std::string& state, const std::string& event)
{
    Texts lines{"State " + state + ": event recv " + event};
    const auto append = [&lines](const Texts& more) { lines.insert(lines.end(), more.begin(), more.end()); };

    const SExpectedReaction* reaction = ExpectedReaction(state, event);
    if (reaction == nullptr)
    {
        append({"State Statemachine: event unhn " + event});
        return lines;
    }
    append({"State " + reaction->handler + ": event hndl " + event});
    append(reaction->actions);
    if (!reaction->next.empty())
    {
        append({"State " + state + ": exit"});
        append(ExpectedState(state).exit);
        append({"State " + reaction->next + ": entry"});
        append(ExpectedState(reaction->next).entry);
    }
    return lines;
}

std::string ExpectedNext(const std::string& state, const std::string& event)
{
    const SExpectedReaction* reaction = ExpectedReaction(state, event);
    return reaction == nullptr || reaction->next.empty() ? state : reaction->next;
}

/// Stands between the actions and the machine, and takes down what they post instead of posting it.
class CPostRecorder : public IHsmInterface
{
public:
    void PostEvent(std::shared_ptr<IHsmEvent> event) override
    {
        LOG_PLAIN(ELogLevel::Info, "post {}", event->Name());
    }
    void Run() override {}
    void Stop() override {}
    bool IsRunning() override { return true; }
};

struct SPostedEvent
{
    std::shared_ptr<IHsmEvent> event;
    std::future<bool> outcome;
};

template <class Event>
SPostedEvent Make()
{
    const auto event = std::make_shared<Event>();
    return {event, event->Outcome()};
}

template <class... Events>
std::vector<SPostedEvent> MakeEach()
{
    std::vector<SPostedEvent> events;
    (events.push_back(Make<Events>()), ...);
    return events;
}

std::vector<SPostedEvent> MakeAllEvents()
{
    using namespace WebbackendHsm;
    return MakeEach<ExtDisableReq,
                    ExtEnableReq,
                    ExtError,
                    IntDisablingDone,
                    IntEnablingDone,
                    IntError,
                    IntFatalError,
                    IntInitializingDone,
                    IntRecover,
                    IntRecoveringDone,
                    IntTerminate,
                    IntTerminatingDone>();
}

struct SLeaf
{
    std::string name;
    void (*enter)(CWebbackendHsm&);
    const TopState<CWebbackendHsm>* instance;
};

template <class Leaf>
SLeaf LeafOf(const std::string& name)
{
    return {name, [](CWebbackendHsm& hsm) { hsm.Enter<Leaf>(); }, &Leaf::Instance};
}

const std::vector<SLeaf> LeavesThatRun{
    LeafOf<WebbackendHsm::Disabled>("Disabled"),
    LeafOf<WebbackendHsm::Disabling>("Disabling"),
    LeafOf<WebbackendHsm::Enabled>("Enabled"),
    LeafOf<WebbackendHsm::Enabling>("Enabling"),
    LeafOf<WebbackendHsm::Error>("Error"),
    LeafOf<WebbackendHsm::FatalError>("FatalError"),
    LeafOf<WebbackendHsm::Initializing>("Initializing"),
    LeafOf<WebbackendHsm::Recovering>("Recovering"),
    LeafOf<WebbackendHsm::Terminating>("Terminating"),
    LeafOf<WebbackendHsm::Uninitialized>("Uninitialized"),
};

/// The engine has stopped in this one: its reactions can only be asked directly.
const SLeaf FinalLeaf = LeafOf<WebbackendHsm::Final>("_Final_Statemachine");

/// A machine with the entry of the leaf behind it.
struct SMachineInState
{
    explicit SMachineInState(const SLeaf& leaf)
    {
        actions->SetHsmInterface(&posts);
        leaf.enter(hsm);
        log.Clear();
    }

    Texts Lines() const
    {
        Texts texts;
        for (const CCapturedLog::SLine& line : log.Lines())
        {
            texts.push_back(line.text);
        }
        return texts;
    }

    CCapturedLog log;
    CPostRecorder posts;
    std::shared_ptr<CFakeWebbackendActions> actions = std::make_shared<CFakeWebbackendActions>();
    CWebbackendHsm hsm{actions};
};

class WebbackendHsmReactions : public testing::TestWithParam<SLeaf>
{
};

} // namespace

TEST_P(WebbackendHsmReactions, ToEachEventAreThoseOfTheTable)
{
    const std::string& state = GetParam().name;
    for (SPostedEvent& posted : MakeAllEvents())
    {
        const std::string& event = posted.event->Name();
        SCOPED_TRACE(event);
        SMachineInState machine(GetParam());
        machine.hsm.PostEvent(posted.event);
        machine.hsm.PostEvent(
            std::make_shared<CFakeHsmEvent>("Enough", [&machine](bool) { machine.hsm.Stop(); }));
        machine.hsm.Run();

        Texts expected = ExpectedLines(state, event);
        const std::string next = ExpectedNext(state, event);
        if (next != FinalLeaf.name)
        {
            expected.push_back("State " + next + ": event recv Enough");
            expected.emplace_back("State Statemachine: event unhn Enough");
        }
        EXPECT_THAT(machine.Lines(), ElementsAreArray(expected));
        EXPECT_EQ(posted.outcome.get(), ExpectedReaction(state, event) != nullptr);
        EXPECT_FALSE(machine.hsm.IsRunning());
    }
}

INSTANTIATE_TEST_SUITE_P(InState,
                         WebbackendHsmReactions,
                         testing::ValuesIn(LeavesThatRun),
                         [](const testing::TestParamInfo<SLeaf>& leaf) { return leaf.param.name; });

TEST(WebbackendHsmFinal, StopsTheEngineOnEntry)
{
    SMachineInState machine(FinalLeaf);

    EXPECT_FALSE(machine.hsm.IsRunning());
}

TEST(WebbackendHsmFinal, HasTheReactionsOfTheCompositeOnly)
{
    for (SPostedEvent& posted : MakeAllEvents())
    {
        const std::string& event = posted.event->Name();
        SCOPED_TRACE(event);
        SMachineInState machine(FinalLeaf);
        FinalLeaf.instance->Process(machine.hsm, *posted.event);

        EXPECT_THAT(machine.Lines(), ElementsAreArray(ExpectedLines(FinalLeaf.name, event)));
        EXPECT_EQ(posted.outcome.get(), ExpectedReaction(FinalLeaf.name, event) != nullptr);
    }
}

TEST(WebbackendHsmEvents, AreTwelveNamedByTheirNumbers)
{
    Texts names;
    for (const SPostedEvent& posted : MakeAllEvents())
    {
        names.push_back(posted.event->Name());
    }
    EXPECT_THAT(names,
                ElementsAreArray({"ExtDisableReq",
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
                                  "IntTerminatingDone"}));
}
