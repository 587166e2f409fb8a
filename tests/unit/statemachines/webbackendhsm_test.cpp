#include "statemachines/webbackendhsm.h"

#include "platform/log/log.h"

#include <algorithm>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fakehsmevent.h"
#include "tests/fakes/fakewebbackendactions.h"
#include "tests/support/capturedlog.h"

namespace
{

using namespace WebbackendHsm;

using Log::ELogLevel;
using testing::ElementsAre;
using testing::ElementsAreArray;

/// Events are posted ahead, and the machine then runs through them. Where an event is meant to come in after
/// the machine's own ones, Settle lets those pass first.
class WebbackendHsmRun : public testing::Test
{
protected:
    template <class Event>
    std::future<bool> Post()
    {
        auto event = std::make_shared<Event>();
        std::future<bool> outcome = event->Outcome();
        steps.emplace_back(std::move(event));
        return outcome;
    }

    /// Runs the machine until each event posted here was handled together with all that the actions posted on
    /// it. The machine is stopped then, unless it has ended before.
    void Run()
    {
        std::size_t next = 0;
        std::function<void(bool)> settle = [&](bool)
        {
            // the actions' posts since the last time stand ahead of this one
            if (settleRounds > 0)
            {
                --settleRounds;
                hsm.PostEvent(std::make_shared<CFakeHsmEvent>("Settle", settle));
                return;
            }
            if (next == steps.size())
            {
                hsm.Stop();
                return;
            }
            settleRounds = SettleRounds;
            hsm.PostEvent(std::move(steps[next++]));
            hsm.PostEvent(std::make_shared<CFakeHsmEvent>("Settle", settle));
        };
        hsm.PostEvent(std::make_shared<CFakeHsmEvent>("Settle", settle));
        hsm.Run();
        hsm.Close();
    }

    /// All lines but those of the settling.
    std::vector<CCapturedLog::SLine> Lines() const
    {
        std::vector<CCapturedLog::SLine> lines;
        for (const CCapturedLog::SLine& line : log.Lines())
        {
            if (line.text.find("Settle") == std::string::npos)
            {
                lines.push_back(line);
            }
        }
        return lines;
    }

    /// Lines from the first one of that text on.
    std::vector<CCapturedLog::SLine> LinesFrom(const std::string& text) const
    {
        const std::vector<CCapturedLog::SLine> lines = Lines();
        return {std::find(lines.begin(), lines.end(), Trace(text)), lines.end()};
    }

    /// The actions and reports, in their order.
    std::vector<std::string> Actions() const { return log.Messages(ELogLevel::Info); }

    static CCapturedLog::SLine Trace(const std::string& text) { return {ELogLevel::Trace, text}; }
    static CCapturedLog::SLine Action(const std::string& text) { return {ELogLevel::Info, text}; }

    /// More than the longest chain of events that the machine sends itself.
    static constexpr int SettleRounds = 6;

    CCapturedLog log;
    std::shared_ptr<CFakeWebbackendActions> actions = std::make_shared<CFakeWebbackendActions>();
    CWebbackendHsm hsm{actions};
    std::vector<std::shared_ptr<IHsmEvent>> steps;
    int settleRounds = 0;
};

} // namespace

TEST_F(WebbackendHsmRun, GoesFromStartToEndByDisableEnableDisableAndTerminate)
{
    Post<ExtDisableReq>();
    Post<ExtEnableReq>();
    Post<ExtDisableReq>();
    Post<IntTerminate>();
    Run();

    EXPECT_THAT(Lines(),
                ElementsAreArray({Trace("State Statemachine: init"),
                                  Trace("State Uninitialized: entry"),
                                  Action("ExtUninitializedRsp"),
                                  Trace("State Uninitialized: event recv ExtDisableReq"),
                                  Trace("State Uninitialized: event hndl ExtDisableReq"),
                                  Trace("State Uninitialized: exit"),
                                  Trace("State Initializing: entry"),
                                  Trace("State Initializing: event recv IntInitializingDone"),
                                  Trace("State Initializing: event hndl IntInitializingDone"),
                                  Trace("State Initializing: exit"),
                                  Trace("State Disabled: entry"),
                                  Action("ExtDisabledRsp"),
                                  Trace("State Disabled: event recv ExtEnableReq"),
                                  Trace("State Disabled: event hndl ExtEnableReq"),
                                  Trace("State Disabled: exit"),
                                  Trace("State Enabling: entry"),
                                  Action("IntStartServers"),
                                  Action("IntStartComponents"),
                                  Trace("State Enabling: event recv IntEnablingDone"),
                                  Trace("State Enabling: event hndl IntEnablingDone"),
                                  Trace("State Enabling: exit"),
                                  Trace("State Enabled: entry"),
                                  Action("ExtEnabledRsp"),
                                  Action("IntStartAliveTimer"),
                                  Trace("State Enabled: event recv ExtDisableReq"),
                                  Trace("State Enabled: event hndl ExtDisableReq"),
                                  Trace("State Enabled: exit"),
                                  Action("IntStopComponents"),
                                  Action("IntStopServers"),
                                  Action("IntStopAliveTimer"),
                                  Trace("State Disabling: entry"),
                                  Trace("State Disabling: event recv IntDisablingDone"),
                                  Trace("State Disabling: event hndl IntDisablingDone"),
                                  Trace("State Disabling: exit"),
                                  Trace("State Disabled: entry"),
                                  Action("ExtDisabledRsp"),
                                  Trace("State Disabled: event recv IntTerminate"),
                                  Trace("State Statemachine: event hndl IntTerminate"),
                                  Trace("State Disabled: exit"),
                                  Trace("State Terminating: entry"),
                                  Trace("State Terminating: event recv IntTerminatingDone"),
                                  Trace("State Terminating: event hndl IntTerminatingDone"),
                                  Trace("State Terminating: exit"),
                                  Trace("State _Final_Statemachine: entry")}));
    EXPECT_FALSE(hsm.IsRunning());
}

TEST_F(WebbackendHsmRun, TerminateInEnabledStopsEverythingFirst)
{
    Post<ExtDisableReq>();
    Post<ExtEnableReq>();
    Post<IntTerminate>();
    Run();

    EXPECT_THAT(Actions(),
                ElementsAre("ExtUninitializedRsp",
                            "ExtDisabledRsp",
                            "IntStartServers",
                            "IntStartComponents",
                            "ExtEnabledRsp",
                            "IntStartAliveTimer",
                            "IntStopComponents",
                            "IntStopServers",
                            "IntStopAliveTimer"));
    EXPECT_EQ(Lines().back(), Trace("State _Final_Statemachine: entry"));
}

TEST_F(WebbackendHsmRun, ServerThatDoesNotStartLeadsBackToDisabledWithoutHelp)
{
    actions->hooks["IntStartServers"] = [this] { actions->Post<IntError>(); };
    Post<ExtDisableReq>();
    Post<ExtEnableReq>();
    Run();

    EXPECT_THAT(LinesFrom("State Enabling: entry"),
                ElementsAre(Trace("State Enabling: entry"),
                            Action("IntStartServers"),
                            Action("IntStartComponents"),
                            Trace("State Enabling: event recv IntError"),
                            Trace("State Statemachine: event hndl IntError"),
                            Trace("State Enabling: exit"),
                            Trace("State Error: entry"),
                            Action("ExtErrorRsp"),
                            Trace("State Error: event recv IntEnablingDone"),
                            Trace("State Statemachine: event unhn IntEnablingDone"),
                            Trace("State Error: event recv IntRecover"),
                            Trace("State Error: event hndl IntRecover"),
                            Trace("State Error: exit"),
                            Trace("State Recovering: entry"),
                            Trace("State Recovering: event recv IntRecoveringDone"),
                            Trace("State Recovering: event hndl IntRecoveringDone"),
                            Trace("State Recovering: exit"),
                            Trace("State Disabled: entry"),
                            Action("ExtDisabledRsp")));
}

TEST_F(WebbackendHsmRun, SecondFailingServerEntersErrorAgainAndItsRecoverIsUnhandled)
{
    actions->hooks["IntStartServers"] = [this]
    {
        actions->Post<IntError>();
        actions->Post<IntError>();
    };
    Post<ExtDisableReq>();
    Post<ExtEnableReq>();
    Run();

    EXPECT_THAT(LinesFrom("State Error: entry"),
                ElementsAre(Trace("State Error: entry"),
                            Action("ExtErrorRsp"),
                            Trace("State Error: event recv IntError"),
                            Trace("State Statemachine: event hndl IntError"),
                            Trace("State Error: exit"),
                            Trace("State Error: entry"),
                            Action("ExtErrorRsp"),
                            Trace("State Error: event recv IntEnablingDone"),
                            Trace("State Statemachine: event unhn IntEnablingDone"),
                            Trace("State Error: event recv IntRecover"),
                            Trace("State Error: event hndl IntRecover"),
                            Trace("State Error: exit"),
                            Trace("State Recovering: entry"),
                            Trace("State Recovering: event recv IntRecover"),
                            Trace("State Statemachine: event unhn IntRecover"),
                            Trace("State Recovering: event recv IntRecoveringDone"),
                            Trace("State Recovering: event hndl IntRecoveringDone"),
                            Trace("State Recovering: exit"),
                            Trace("State Disabled: entry"),
                            Action("ExtDisabledRsp")));
}

TEST_F(WebbackendHsmRun, RecoverAndRecoveringDoneThatComeLateAreUnhandled)
{
    Post<ExtDisableReq>();
    std::future<bool> recover = Post<IntRecover>();
    std::future<bool> recovered = Post<IntRecoveringDone>();
    Run();

    EXPECT_FALSE(recover.get());
    EXPECT_FALSE(recovered.get());
    EXPECT_THAT(Actions(), ElementsAre("ExtUninitializedRsp", "ExtDisabledRsp"));
}

TEST_F(WebbackendHsmRun, FailedStartStopsNothingAndTheNextEnableStartsAgain)
{
    actions->hooks["IntStartServers"] = [this] { actions->Post<IntError>(); };
    Post<ExtDisableReq>();
    Post<ExtEnableReq>();
    Post<ExtEnableReq>();
    Run();

    EXPECT_THAT(Actions(),
                ElementsAre("ExtUninitializedRsp",
                            "ExtDisabledRsp",
                            "IntStartServers",
                            "IntStartComponents",
                            "ExtErrorRsp",
                            "ExtDisabledRsp",
                            "IntStartServers",
                            "IntStartComponents",
                            "ExtErrorRsp",
                            "ExtDisabledRsp"));
}

TEST_F(WebbackendHsmRun, SecondEnableRepeatsTheReportAndRestartsNothing)
{
    Post<ExtDisableReq>();
    Post<ExtEnableReq>();
    std::future<bool> second = Post<ExtEnableReq>();
    Run();

    EXPECT_TRUE(second.get());
    EXPECT_THAT(Actions(),
                ElementsAre("ExtUninitializedRsp",
                            "ExtDisabledRsp",
                            "IntStartServers",
                            "IntStartComponents",
                            "ExtEnabledRsp",
                            "IntStartAliveTimer",
                            "ExtEnabledRsp"));
}

TEST_F(WebbackendHsmRun, DisableInDisabledRepeatsTheReport)
{
    Post<ExtDisableReq>();
    std::future<bool> second = Post<ExtDisableReq>();
    Run();

    EXPECT_TRUE(second.get());
    EXPECT_THAT(Actions(), ElementsAre("ExtUninitializedRsp", "ExtDisabledRsp", "ExtDisabledRsp"));
}

TEST_F(WebbackendHsmRun, EnableBeforeTheFirstDisableIsUnhandled)
{
    std::future<bool> enable = Post<ExtEnableReq>();
    Run();

    EXPECT_FALSE(enable.get());
    EXPECT_THAT(Actions(), ElementsAre("ExtUninitializedRsp"));
}

TEST_F(WebbackendHsmRun, EnableWhileEnablingOrDisablingIsUnhandled)
{
    std::vector<std::future<bool>> outcomes;
    const auto postEnable = [&]
    {
        const auto event = std::make_shared<ExtEnableReq>();
        outcomes.push_back(event->Outcome());
        hsm.PostEvent(event);
    };
    actions->hooks["IntStartServers"] = postEnable;
    actions->hooks["IntStopServers"] = postEnable;
    Post<ExtDisableReq>();
    Post<ExtEnableReq>();
    Post<ExtDisableReq>();
    Run();

    ASSERT_EQ(outcomes.size(), 2U);
    EXPECT_FALSE(outcomes[0].get());
    EXPECT_FALSE(outcomes[1].get());
    EXPECT_THAT(Lines(), testing::Contains(Trace("State Enabling: event recv ExtEnableReq")));
    EXPECT_THAT(Lines(), testing::Contains(Trace("State Disabling: event recv ExtEnableReq")));
}

TEST_F(WebbackendHsmRun, ActionThatFindsTheProcessGoneEndsInFatalErrorUntilTerminate)
{
    actions->hooks["IntStartComponents"] = [this] { actions->Post<IntFatalError>(); };
    Post<ExtDisableReq>();
    Post<ExtEnableReq>();
    std::future<bool> disable = Post<ExtDisableReq>();
    std::future<bool> enable = Post<ExtEnableReq>();
    std::future<bool> recover = Post<IntRecover>();
    Post<IntTerminate>();
    Run();

    EXPECT_TRUE(disable.get());
    EXPECT_TRUE(enable.get());
    EXPECT_FALSE(recover.get());
    EXPECT_THAT(Actions(),
                ElementsAre("ExtUninitializedRsp",
                            "ExtDisabledRsp",
                            "IntStartServers",
                            "IntStartComponents",
                            "ExtFatalErrorRsp",
                            "ExtFatalErrorRsp"));
    EXPECT_EQ(Lines().back(), Trace("State _Final_Statemachine: entry"));
}

TEST_F(WebbackendHsmRun, DisableInFatalErrorIsHandledWithoutAReport)
{
    Post<IntFatalError>();
    std::future<bool> disable = Post<ExtDisableReq>();
    Run();

    EXPECT_TRUE(disable.get());
    EXPECT_THAT(Actions(), ElementsAre("ExtUninitializedRsp", "ExtFatalErrorRsp"));
}

TEST_F(WebbackendHsmRun, ErrorFromOutsideIsHandledLikeItsOwnOneEventLater)
{
    Post<ExtDisableReq>();
    Post<ExtEnableReq>();
    Post<ExtError>();
    Run();

    EXPECT_THAT(LinesFrom("State Enabled: event recv ExtError"),
                ElementsAre(Trace("State Enabled: event recv ExtError"),
                            Trace("State Statemachine: event hndl ExtError"),
                            Trace("State Enabled: event recv IntError"),
                            Trace("State Statemachine: event hndl IntError"),
                            Trace("State Enabled: exit"),
                            Action("IntStopComponents"),
                            Action("IntStopServers"),
                            Action("IntStopAliveTimer"),
                            Trace("State Error: entry"),
                            Action("ExtErrorRsp"),
                            Trace("State Error: event recv IntRecover"),
                            Trace("State Error: event hndl IntRecover"),
                            Trace("State Error: exit"),
                            Trace("State Recovering: entry"),
                            Trace("State Recovering: event recv IntRecoveringDone"),
                            Trace("State Recovering: event hndl IntRecoveringDone"),
                            Trace("State Recovering: exit"),
                            Trace("State Disabled: entry"),
                            Action("ExtDisabledRsp")));
}

TEST_F(WebbackendHsmRun, EmptyReportsAreSkipped)
{
    actions->ExtUninitializedRsp = nullptr;
    actions->ExtDisabledRsp = nullptr;
    actions->ExtEnabledRsp = nullptr;
    actions->ExtErrorRsp = nullptr;
    actions->ExtFatalErrorRsp = nullptr;
    Post<ExtDisableReq>();
    Post<ExtDisableReq>();
    Post<ExtEnableReq>();
    Post<ExtEnableReq>();
    Post<IntError>();
    Post<IntFatalError>();
    Post<ExtEnableReq>();
    Post<IntTerminate>();
    Run();

    EXPECT_THAT(Actions(),
                ElementsAre("IntStartServers",
                            "IntStartComponents",
                            "IntStartAliveTimer",
                            "IntStopComponents",
                            "IntStopServers",
                            "IntStopAliveTimer"));
    EXPECT_EQ(Lines().back(), Trace("State _Final_Statemachine: entry"));
}
