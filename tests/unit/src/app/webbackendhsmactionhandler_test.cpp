#include "src/webbackend.h"
#include "src/webbackendhsmactionhandler.h"

#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/capturedlog.h"

using Log::ELogLevel;
using testing::ElementsAre;
using testing::ThrowsMessage;

namespace
{

/// Takes down the names of what is posted.
class CFakeMachine : public IHsmInterface
{
public:
    void PostEvent(std::shared_ptr<IHsmEvent> event) override { posted.push_back(event->Name()); }
    void Run() override {}
    void Stop() override {}
    bool IsRunning() override { return true; }

    std::vector<std::string> posted;
};

struct SAction
{
    void (CWebbackendHsmActionHandler::*run)();
    std::string name;
    std::string failure;
};

std::ostream& operator<<(std::ostream& stream, const SAction& action)
{
    return stream << action.name;
}

/// Each of the actions, with an application object that is gone.
class WebbackendHsmActionHandlerTest : public testing::TestWithParam<SAction>
{
protected:
    void RunAction() { (handler.*GetParam().run)(); }

    CFakeMachine machine;
    CWebbackendHsmActionHandler handler{std::weak_ptr<CWebbackend>()};
    const CCapturedLog log;
};

} // namespace

TEST_P(WebbackendHsmActionHandlerTest, PostsAFatalErrorWhenTheApplicationIsGone)
{
    handler.SetHsmInterface(&machine);

    RunAction();

    EXPECT_THAT(machine.posted, ElementsAre("IntFatalError"));
    EXPECT_THAT(
        log.Messages(),
        ElementsAre(CCapturedLog::SLine{ELogLevel::Trace, "CWebbackendHsmActionHandler::" + GetParam().name},
                    CCapturedLog::SLine{ELogLevel::Critical, GetParam().failure}));
}

TEST_P(WebbackendHsmActionHandlerTest, NeedsAMachineToPostTo)
{
    EXPECT_THAT([this] { RunAction(); },
                ThrowsMessage<std::logic_error>("CHsmActionHandlerBase: IHsmInterface not set"));
}

INSTANTIATE_TEST_SUITE_P(
    Actions,
    WebbackendHsmActionHandlerTest,
    testing::Values(SAction{&CWebbackendHsmActionHandler::IntStartServers,
                            "IntStartServers",
                            "Could not start servers. Webbackend object does not exist."},
                    SAction{&CWebbackendHsmActionHandler::IntStopServers,
                            "IntStopServers",
                            "Could not stop servers. Webbackend object does not exist."},
                    SAction{&CWebbackendHsmActionHandler::IntStartComponents,
                            "IntStartComponents",
                            "Could not start components. Webbackend object does not exist."},
                    SAction{&CWebbackendHsmActionHandler::IntStopComponents,
                            "IntStopComponents",
                            "Could not stop components. Webbackend object does not exist."}),
    [](const auto& instance) { return instance.param.name; });
