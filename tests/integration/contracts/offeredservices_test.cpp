#include "contracts/genericcontrol.h"
#include "contracts/logconfigservice.h"
#include "platform/log/log.h"
#include "platform/rpc/appcommunicationhost.h"

#include <grpcpp/create_channel.h>

#include <future>
#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/integration/contracts/teststation.h"
#include "tests/support/capturedlog.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;

namespace
{

ipc::MResult ResultOf(ipc::EResult status)
{
    ipc::MResult result;
    result.set_status(status);
    return result;
}

class CControl : public IGenericControl
{
public:
    ipc::MResult Enable() override
    {
        enableCalls.Add(1);
        std::function<ipc::MResult()> call;
        {
            const std::lock_guard lock(mutex);
            call = onEnable;
        }
        return call();
    }

    void OnEnable(std::function<ipc::MResult()> call)
    {
        const std::lock_guard lock(mutex);
        onEnable = std::move(call);
    }

    ipc::MResult Disable() override { return ResultOf(ipc::EResultIllegal); }

    void Report(ipc::EState state) const
    {
        ipc::MState message;
        message.set_state(state);
        StateOutput(message);
    }

    CCollector<int> enableCalls;

private:
    std::mutex mutex;

    // Guarded by mutex
    std::function<ipc::MResult()> onEnable = [] { return ResultOf(ipc::EResultOk); };
};

/// A controller's stream of what the process sends; read on a thread of its own until it ends.
template <class Message>
class CStream
{
public:
    template <class Subscribe>
    explicit CStream(Subscribe subscribe)
        : reader(subscribe(&context))
        , thread(
              [this]
              {
                  Message message;
                  while (reader->Read(&message))
                  {
                      received.Add(message);
                  }
                  ended.Add(true);
              })
    {
    }

    ~CStream()
    {
        context.TryCancel();
        thread.join();
    }

    CStream(const CStream&) = delete;
    CStream& operator=(const CStream&) = delete;
    CStream(CStream&&) = delete;
    CStream& operator=(CStream&&) = delete;

    CCollector<Message> received;
    CCollector<bool> ended;

private:
    grpc::ClientContext context;
    std::unique_ptr<grpc::ClientReader<Message>> reader;
    std::thread thread;
};

class OfferedServices : public testing::Test
{
protected:
    OfferedServices()
    {
        host.AddService<IGenericControl>("WebbackendGenCtrl", control);
        host.AddService<ILogConfig>("WebbackendLog", Log::CreateLogConfigService());
        host.StartServices();
        server = std::thread([this] { host.RunServer(); });
        channel = grpc::CreateChannel(station.ProcessAddress(), grpc::InsecureChannelCredentials());
        controller = ipc::WebbackendGenCtrl::NewStub(channel);
    }

    ~OfferedServices() override { StopHost(); }

    void StopHost()
    {
        host.Stop();
        if (server.joinable())
        {
            server.join();
        }
    }

    std::unique_ptr<CStream<ipc::MState>> SubscribeState()
    {
        return std::make_unique<CStream<ipc::MState>>(
            [this](grpc::ClientContext* context)
            { return controller->SubscribeState(context, ipc::MVoid()); });
    }

    CTestStation station;
    std::shared_ptr<CControl> control = std::make_shared<CControl>();
    AppCommunicationHost<GrpcBackend> host{station.ConfigPath()};
    std::thread server;
    std::shared_ptr<grpc::Channel> channel;
    std::unique_ptr<ipc::WebbackendGenCtrl::Stub> controller;
};

std::vector<int> Numbers(const std::vector<ipc::MState>& states)
{
    std::vector<int> numbers;
    for (const ipc::MState& state : states)
    {
        numbers.push_back(state.state());
    }
    return numbers;
}

} // namespace

TEST_F(OfferedServices, ControlCallsReachTheObjectAndBringItsResult)
{
    grpc::ClientContext enableContext;
    grpc::ClientContext disableContext;
    ipc::MResult enabled = ResultOf(ipc::EResultIllegal);
    ipc::MResult disabled;

    EXPECT_TRUE(controller->Enable(&enableContext, ipc::MVoid(), &enabled).ok());
    EXPECT_TRUE(controller->Disable(&disableContext, ipc::MVoid(), &disabled).ok());

    EXPECT_EQ(enabled.status(), ipc::EResultOk);
    EXPECT_EQ(disabled.status(), ipc::EResultIllegal);
}

TEST_F(OfferedServices, FailureOfTheObjectIsTheFailureOfTheCallAndTheNextOneWorks)
{
    control->OnEnable([]() -> ipc::MResult { throw std::runtime_error("no function"); });
    grpc::ClientContext failing;
    ipc::MResult result;

    const grpc::Status status = controller->Enable(&failing, ipc::MVoid(), &result);

    EXPECT_EQ(status.error_code(), grpc::StatusCode::INTERNAL);
    EXPECT_EQ(status.error_message(), "no function");
    grpc::ClientContext next;
    EXPECT_TRUE(controller->Disable(&next, ipc::MVoid(), &result).ok());
}

TEST_F(OfferedServices, EverySubscriberGetsEachState)
{
    control->Report(ipc::EStateUninitialized);
    const auto first = SubscribeState();
    const auto second = SubscribeState();
    first->received.Await(1);
    second->received.Await(1);

    control->Report(ipc::EStateDisabled);
    control->Report(ipc::EStateEnabled);

    EXPECT_THAT(Numbers(first->received.Await(3)), ElementsAre(1, 2, 3));
    EXPECT_THAT(Numbers(second->received.Await(3)), ElementsAre(1, 2, 3));
}

TEST_F(OfferedServices, LateSubscriberGetsTheLastStateAtOnce)
{
    control->Report(ipc::EStateUninitialized);
    control->Report(ipc::EStateDisabled);
    EXPECT_TRUE(
        SubscribeState()->received.AwaitAny([](const ipc::MState& state) { return state.state() == 2; }));

    EXPECT_THAT(Numbers(SubscribeState()->received.Await(1)), ElementsAre(2));
}

TEST_F(OfferedServices, SubscribersComeAndGo)
{
    control->Report(ipc::EStateDisabled);
    for (int round = 0; round < 50; ++round)
    {
        EXPECT_FALSE(SubscribeState()->received.Await(1).empty());
        control->Report(ipc::EStateDisabled);
    }
}

TEST_F(OfferedServices, AliveReachesTheSubscriber)
{
    CStream<ipc::MVoid> alive([this](grpc::ClientContext* context)
                              { return controller->SubscribeAlive(context, ipc::MVoid()); });
    // a subscription is taken up in its own time: send until one arrives
    std::vector<ipc::MVoid> received;
    for (int round = 0; received.empty() && round < 1000; ++round)
    {
        control->AliveOutput();
        received = alive.received.Await(1, std::chrono::milliseconds(10));
    }
    EXPECT_FALSE(received.empty());
}

TEST_F(OfferedServices, ReportsDoNotWaitForASubscriberThatDoesNotRead)
{
    grpc::ClientContext context;
    const auto silent = controller->SubscribeState(&context, ipc::MVoid());
    for (int round = 0; round < 100000; ++round)
    {
        control->Report(ipc::EStateDisabled);
    }
    control->Report(ipc::EStateEnabled);

    EXPECT_TRUE(SubscribeState()->received.AwaitAny([](const ipc::MState& message)
                                                    { return message.state() == ipc::EStateEnabled; }));
    context.TryCancel();
}

TEST_F(OfferedServices, StopEndsTheStreamsOfSubscribers)
{
    control->Report(ipc::EStateDisabled);
    const auto stream = SubscribeState();
    stream->received.Await(1);

    StopHost();

    EXPECT_THAT(stream->ended.Await(1), ElementsAre(true));
}

TEST_F(OfferedServices, StopWaitsForACallThatEnds)
{
    std::promise<void> release;
    control->OnEnable(
        [&]
        {
            release.get_future().wait();
            return ResultOf(ipc::EResultOk);
        });
    auto answered = std::async(std::launch::async,
                               [this]
                               {
                                   grpc::ClientContext context;
                                   ipc::MResult result;
                                   return controller->Enable(&context, ipc::MVoid(), &result).ok();
                               });
    control->enableCalls.Await(1);

    auto stopped = std::async(std::launch::async, [this] { StopHost(); });
    EXPECT_EQ(stopped.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    release.set_value();

    stopped.get();
    answered.get();
}

TEST_F(OfferedServices, LogLevelIsReadAndSetFromOutside)
{
    const CCapturedLog log(Log::ELogLevel::Info);
    const auto stub = ipc::WebbackendLog::NewStub(channel);
    grpc::ClientContext setContext;
    grpc::ClientContext getContext;
    ipc::MLogLevel level;
    level.set_level(4);
    ipc::MResult result = ResultOf(ipc::EResultIllegal);

    EXPECT_TRUE(stub->SetLogLevel(&setContext, level, &result).ok());
    EXPECT_EQ(result.status(), ipc::EResultOk);
    EXPECT_EQ(Log::GetLogLevel(), Log::ELogLevel::Error);
    ipc::MLogLevel read;
    EXPECT_TRUE(stub->GetLogLevel(&getContext, ipc::MVoid(), &read).ok());
    EXPECT_EQ(read.level(), 4);
}

TEST_F(OfferedServices, NumberThatIsNoLogLevelIsRefused)
{
    const CCapturedLog log(Log::ELogLevel::Info);
    const auto stub = ipc::WebbackendLog::NewStub(channel);
    grpc::ClientContext context;
    ipc::MLogLevel level;
    level.set_level(6);
    ipc::MResult result;

    EXPECT_TRUE(stub->SetLogLevel(&context, level, &result).ok());

    EXPECT_EQ(result.status(), ipc::EResultIllegal);
    EXPECT_EQ(Log::GetLogLevel(), Log::ELogLevel::Info);
}

TEST(OfferedServicesAtStart, AddressThatCannotBeListenedAtIsNamed)
{
    const CTemporaryDirectory directory;
    directory.Write("etc/iipc.json", R"({"Listen": "unix:missing/process.sock", "Services": {}})");
    AppCommunicationHost<GrpcBackend> host(directory.Root() + "etc/iipc.json");

    EXPECT_THAT([&] { host.StartServices(); },
                ThrowsMessage<std::runtime_error>(HasSubstr("missing/process.sock")));
}

TEST(OfferedServicesAtStart, ServiceUnderAnothersNameIsRefused)
{
    const CTestStation station;
    AppCommunicationHost<GrpcBackend> host(station.ConfigPath());

    EXPECT_THROW(host.AddService<ILogConfig>("WebbackendGenCtrl", Log::CreateLogConfigService()),
                 std::logic_error);
}

TEST(OfferedServicesAtStart, HostThatNeverRanGoesQuietly)
{
    const CTestStation station;
    AppCommunicationHost<GrpcBackend> host(station.ConfigPath());
    host.AddService<IGenericControl>("WebbackendGenCtrl", std::make_shared<CControl>());
    host.StartServices();
}
