#include "statemachines/processcontrolservice.h"
#include "statemachines/utils/statemachinesutility.h"
#include "statemachines/webbackendhsm.h"

#include "platform/log/log.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fakewebbackendactions.h"
#include "tests/support/capturedlog.h"

namespace
{

using Log::ELogLevel;
using testing::ElementsAre;
using testing::MatchesRegex;

/// Real time within which another thread gets on, generous for a loaded machine.
constexpr std::chrono::seconds Deadline{30};

constexpr int AliveMark = -1;

class CActions : public CFakeWebbackendActions
{
public:
    std::function<void()> ExtSendAlive;
};

/// Answers each event at once, or drops it.
class CFakeHsm : public IHsmInterface
{
public:
    enum class EManner
    {
        Handle,
        Refuse,
        Drop
    };

    void PostEvent(std::shared_ptr<IHsmEvent> event) override
    {
        posted.push_back(event->Name());
        if (manner != EManner::Drop)
        {
            event->Answer(manner == EManner::Handle);
        }
    }
    void Run() override {}
    void Stop() override {}
    bool IsRunning() override { return true; }

    EManner manner = EManner::Handle;
    std::vector<std::string> posted;
};

/// What the service has sent to the controller, states by their numbers.
class CSentSignals
{
public:
    void Add(int signal)
    {
        {
            const std::lock_guard lock(mutex);
            signals.push_back(signal);
        }
        added.notify_all();
    }

    std::vector<int> All() const
    {
        const std::lock_guard lock(mutex);
        return signals;
    }

    void WaitForLast(int signal)
    {
        std::unique_lock lock(mutex);
        EXPECT_TRUE(
            added.wait_for(lock, Deadline, [&] { return !signals.empty() && signals.back() == signal; }));
    }

private:
    mutable std::mutex mutex;
    std::condition_variable added;

    // Guarded by mutex
    std::vector<int> signals;
};

class ProcessControlWiring : public testing::Test
{
protected:
    ProcessControlWiring()
    {
        service->StateOutput = [this](const ipc::MState& state) { sent.Add(state.state()); };
        service->AliveOutput = [this] { sent.Add(AliveMark); };
    }

    /// The only line logged so far is of trace level, and is the text behind the prefix of the file.
    void ExpectTheOnlyLine(const std::string& text)
    {
        const std::vector<CCapturedLog::SLine> lines = log.Lines();
        ASSERT_EQ(lines.size(), 1U);
        EXPECT_EQ(lines[0].level, ELogLevel::Trace);
        EXPECT_THAT(lines[0].text,
                    MatchesRegex("\\(\\.\\./statemachines/utils/statemachinesutility:[0-9]+\\) " + text));
        log.Clear();
    }

    CCapturedLog log;
    CSentSignals sent;
    std::shared_ptr<CActions> actions = std::make_shared<CActions>();
    std::shared_ptr<CProcessControlService> service = std::make_shared<CProcessControlService>();
    std::shared_ptr<CFakeHsm> fakeHsm = std::make_shared<CFakeHsm>();
};

/// Passes everything on, and tells when an event has been posted.
class CWatchedHsm : public IHsmInterface
{
public:
    explicit CWatchedHsm(std::shared_ptr<IHsmInterface> hsm)
        : hsm(std::move(hsm))
    {
    }

    void PostEvent(std::shared_ptr<IHsmEvent> event) override
    {
        hsm->PostEvent(std::move(event));
        posted.set_value();
    }
    void Run() override { hsm->Run(); }
    void Stop() override { hsm->Stop(); }
    bool IsRunning() override { return hsm->IsRunning(); }

    std::promise<void> posted;

private:
    const std::shared_ptr<IHsmInterface> hsm;
};

/// With the real machine, on a thread of its own.
class ProcessControl : public ProcessControlWiring
{
protected:
    ProcessControl() { ConnectIProcessControl(actions, service, hsm); }

    /// Else the three would hold each other for ever.
    ~ProcessControl() override
    {
        if (actions && service)
        {
            DisconnectIProcessControl(actions, service);
        }
    }

    void StartMachine()
    {
        running = std::async(std::launch::async,
                             [machine = hsm]
                             {
                                 machine->Run();
                                 machine->Close();
                             });
    }

    void Terminate()
    {
        hsm->PostEvent(std::make_shared<WebbackendHsm::IntTerminate>());
        running.get();
    }

    std::shared_ptr<CWebbackendHsm> hsm = std::make_shared<CWebbackendHsm>(actions);
    std::future<void> running;
};

} // namespace

TEST_F(ProcessControlWiring, EnablePostsItsRequestAndIsAnsweredZeroWhenHandled)
{
    ConnectIProcessControl(actions, service, fakeHsm);

    EXPECT_EQ(service->Enable().status(), 0);
    EXPECT_THAT(fakeHsm->posted, ElementsAre("ExtEnableReq"));
    ExpectTheOnlyLine("IEnableCall");
}

TEST_F(ProcessControlWiring, DisablePostsItsRequestAndIsAnsweredZeroWhenHandled)
{
    ConnectIProcessControl(actions, service, fakeHsm);

    EXPECT_EQ(service->Disable().status(), 0);
    EXPECT_THAT(fakeHsm->posted, ElementsAre("ExtDisableReq"));
    ExpectTheOnlyLine("IDisableCall");
}

TEST_F(ProcessControlWiring, UnhandledRequestsAreAnsweredOne)
{
    ConnectIProcessControl(actions, service, fakeHsm);
    fakeHsm->manner = CFakeHsm::EManner::Refuse;

    EXPECT_EQ(service->Enable().status(), 1);
    EXPECT_EQ(service->Disable().status(), 1);
}

TEST_F(ProcessControlWiring, RequestThatIsDroppedEndsInAFutureError)
{
    ConnectIProcessControl(actions, service, fakeHsm);
    fakeHsm->manner = CFakeHsm::EManner::Drop;

    EXPECT_THROW(service->Enable(), std::future_error);
    EXPECT_THROW(service->Disable(), std::future_error);
}

TEST_F(ProcessControlWiring, ReportsSendTheNumbersOfTheirStates)
{
    ConnectIProcessControl(actions, service, fakeHsm);

    actions->ExtUninitializedRsp();
    ExpectTheOnlyLine("ExtUninitializedRsp");
    actions->ExtDisabledRsp();
    ExpectTheOnlyLine("ExtDisabledRsp");
    actions->ExtEnabledRsp();
    ExpectTheOnlyLine("ExtEnabledRsp");
    actions->ExtErrorRsp();
    ExpectTheOnlyLine("ExtErrorRsp");
    actions->ExtFatalErrorRsp();
    ExpectTheOnlyLine("ExtFatalErrorRsp");

    EXPECT_THAT(sent.All(), ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(ProcessControlWiring, AliveSignalIsPassedOn)
{
    ConnectIProcessControl(actions, service, fakeHsm);

    actions->ExtSendAlive();

    ExpectTheOnlyLine("ExtSendAlive");
    EXPECT_THAT(sent.All(), ElementsAre(AliveMark));
}

TEST_F(ProcessControlWiring, TakesOtherTypesOfHandlerAndService)
{
    struct SHandler
    {
        std::function<void()> ExtUninitializedRsp, ExtDisabledRsp, ExtEnabledRsp, ExtErrorRsp,
            ExtFatalErrorRsp;
        std::function<void()> ExtSendAlive;
    };
    struct SService
    {
        void SetEnableCall(std::function<ipc::MResult()> call) { enable = std::move(call); }
        void SetDisableCall(std::function<ipc::MResult()> call) { disable = std::move(call); }
        void SendState(const ipc::MState& newState) { state = newState.state(); }
        void SendAlive() {}

        std::function<ipc::MResult()> enable;
        std::function<ipc::MResult()> disable;
        int state = 0;
    };
    const auto handler = std::make_shared<SHandler>();
    const auto other = std::make_shared<SService>();
    ConnectIProcessControl(handler, other, fakeHsm);

    handler->ExtErrorRsp();
    EXPECT_EQ(other->state, 4);
    EXPECT_EQ(other->enable().status(), 0);
    DisconnectIProcessControl(handler, other);
    EXPECT_FALSE(other->enable || other->disable || handler->ExtErrorRsp);
}

TEST_F(ProcessControl, ControllerBringsTheProcessUpAndDownAndLearnsEachState)
{
    StartMachine();

    EXPECT_EQ(service->Enable().status(), 1) << "a disable comes first";
    EXPECT_EQ(service->Disable().status(), 0);
    sent.WaitForLast(2);
    EXPECT_EQ(service->Disable().status(), 0) << "repeats the report";
    EXPECT_EQ(service->Enable().status(), 0);
    sent.WaitForLast(3);
    EXPECT_EQ(service->Disable().status(), 0);
    sent.WaitForLast(2);
    Terminate();

    EXPECT_THAT(sent.All(), ElementsAre(1, 2, 2, 3, 2));
}

TEST_F(ProcessControl, EnableIsAnsweredBeforeTheServersStart)
{
    std::promise<void> answered;
    bool inTime = false;
    actions->hooks["IntStartServers"] = [&]
    { inTime = answered.get_future().wait_for(Deadline) == std::future_status::ready; };
    StartMachine();
    service->Disable();
    sent.WaitForLast(2);

    EXPECT_EQ(service->Enable().status(), 0);
    answered.set_value();
    Terminate();

    EXPECT_TRUE(inTime);
}

TEST_F(ProcessControl, CallWhoseEventTheEndedMachineNeverLooksAtEndsWithClose)
{
    const auto watched = std::make_shared<CWatchedHsm>(hsm);
    ConnectIProcessControl(actions, service, watched);
    hsm->Stop();
    std::future<ipc::MResult> call = std::async(std::launch::async, [this] { return service->Enable(); });
    watched->posted.get_future().wait();
    hsm->Run();
    EXPECT_EQ(call.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    hsm->Close();

    ASSERT_EQ(call.wait_for(Deadline), std::future_status::ready);
    EXPECT_THROW(call.get(), std::future_error);
}

TEST_F(ProcessControl, CallAfterCloseEndsInAFutureErrorAtOnce)
{
    StartMachine();
    Terminate();

    EXPECT_THROW(service->Enable(), std::future_error);
    EXPECT_THROW(service->Disable(), std::future_error);
}

TEST_F(ProcessControl, CallAfterDisconnectIsABadFunctionCall)
{
    StartMachine();
    Terminate();
    DisconnectIProcessControl(actions, service);

    EXPECT_THROW(service->Enable(), std::bad_function_call);
    EXPECT_THROW(service->Disable(), std::bad_function_call);
}

TEST_F(ProcessControl, CallsMayComeInWhileTheProcessEnds)
{
    StartMachine();
    std::future<void> controller = std::async(std::launch::async,
                                              [this]
                                              {
                                                  try
                                                  {
                                                      while (true)
                                                      {
                                                          service->Disable();
                                                      }
                                                  }
                                                  catch (const std::future_error&)
                                                  {
                                                      // the machine has ended
                                                  }
                                                  catch (const std::bad_function_call&)
                                                  {
                                                      // and is disconnected
                                                  }
                                              });
    Terminate();
    DisconnectIProcessControl(actions, service);

    ASSERT_EQ(controller.wait_for(Deadline), std::future_status::ready);
    controller.get();
}

TEST_F(ProcessControl, NothingOutlivesItsOwnerAfterDisconnect)
{
    StartMachine();
    Terminate();
    running = {};
    DisconnectIProcessControl(actions, service);

    const std::weak_ptr<CActions> oldActions = actions;
    const std::weak_ptr<CProcessControlService> oldService = service;
    const std::weak_ptr<CWebbackendHsm> oldHsm = hsm;
    service.reset();
    EXPECT_TRUE(oldService.expired());
    hsm.reset();
    EXPECT_TRUE(oldHsm.expired());
    actions.reset();
    EXPECT_TRUE(oldActions.expired());
}
