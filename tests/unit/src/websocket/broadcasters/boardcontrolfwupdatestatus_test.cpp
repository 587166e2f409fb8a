#include "src/websocket/broadcasters/boardcontrolfwupdatestatus.h"

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/faketopic.h"
#include "tests/fakes/mockservices.h"
#include "tests/support/capturedlog.h"
#include "tests/support/runtogether.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StrictMock;
using Level = Log::ELogLevel;
using Line = CCapturedLog::SLine;

namespace
{

ipc::MFwUpdateStatus Status(int number)
{
    ipc::MFwUpdateStatus message;
    message.set_old_firmware_identifier("1.0");
    message.set_new_firmware_identifier("2.0");
    message.set_status(static_cast<ipc::EFwUpdateStatus>(number));
    return message;
}

class BoardControlFwUpdateStatus : public testing::Test
{
protected:
    const std::shared_ptr<CFakeTopic> topic = std::make_shared<CFakeTopic>();
    const std::shared_ptr<StrictMock<CMockBoardControl>> boardControl =
        std::make_shared<StrictMock<CMockBoardControl>>();
    std::unique_ptr<CBoardControlFwUpdateStatusBroadcaster> broadcaster =
        std::make_unique<CBoardControlFwUpdateStatusBroadcaster>(topic, boardControl);
};

} // namespace

TEST_F(BoardControlFwUpdateStatus, BroadcastsASuccessWithBothIdentifiers)
{
    boardControl->FirmwareUpdateStatus(Status(0));
    EXPECT_THAT(topic->TakeBroadcasts(),
                ElementsAre(R"({"fwIdentNew":"2.0","fwIdentOld":"1.0","status":"EFwUpdateStatusSuccess"})"));
}

TEST_F(BoardControlFwUpdateStatus, BroadcastsOnlyTheStatusOfAFailure)
{
    for (int number = 1; number <= 11; ++number)
    {
        boardControl->FirmwareUpdateStatus(Status(number));
    }
    EXPECT_THAT(topic->TakeBroadcasts(),
                ElementsAre(R"({"status":"EFwUpdateStatusPackageMissing"})",
                            R"({"status":"EFwUpdateStatusNotIdle"})",
                            R"({"status":"EFwUpdateStatusFwInfoInvalid"})",
                            R"({"status":"EFwUpdateStatusHwInfoInvalid"})",
                            R"({"status":"EFwUpdateStatusSettingNotSaved"})",
                            R"({"status":"EFwUpdateStatusSettingNotLoaded"})",
                            R"({"status":"EFwUpdateStatusNoSpace"})",
                            R"({"status":"EFwUpdateStatusProgrammingFailed"})",
                            R"({"status":"EFwUpdateStatusImageNotLoaded"})",
                            R"({"status":"EFwUpdateStatusInternalError"})",
                            R"({"status":""})"));
}

TEST_F(BoardControlFwUpdateStatus, SendsANewSubscriberTheLastStatus)
{
    boardControl->FirmwareUpdateStatus(Status(0));
    boardControl->FirmwareUpdateStatus(Status(7));
    topic->TakeBroadcasts();
    EXPECT_THAT(topic->Subscribe(), ElementsAre(R"({"status":"EFwUpdateStatusNoSpace"})"));
    EXPECT_THAT(topic->Subscribe(), ElementsAre(R"({"status":"EFwUpdateStatusNoSpace"})"));
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
}

TEST_F(BoardControlFwUpdateStatus, SendsANewSubscriberNothingBeforeAnUpdate)
{
    EXPECT_THAT(topic->Subscribe(), IsEmpty());
}

TEST_F(BoardControlFwUpdateStatus, LogsASubscriptionWithoutAReplyCallable)
{
    boardControl->FirmwareUpdateStatus(Status(0));
    const CCapturedLog log;
    topic->OnSubscribe({});
    EXPECT_THAT(log.Messages(),
                ElementsAre(Line{Level::Debug,
                                 "OnSubscribe callback was not provided with a reply callback object."}));
}

TEST_F(BoardControlFwUpdateStatus, LeavesUnsubscriptionsAlone)
{
    EXPECT_FALSE(topic->OnUnsubscribe);
}

TEST_F(BoardControlFwUpdateStatus, StoresBeforeItBroadcastsAndBroadcastsWithoutItsLock)
{
    std::vector<std::string> replies;
    topic->onBroadcast = [&] { replies = topic->Subscribe(); };
    boardControl->FirmwareUpdateStatus(Status(2));
    EXPECT_THAT(replies, ElementsAre(R"({"status":"EFwUpdateStatusNotIdle"})"));
}

TEST_F(BoardControlFwUpdateStatus, LetsANewerStatusWaitForASubscriberThatIsBeingServed)
{
    boardControl->FirmwareUpdateStatus(Status(1));
    topic->TakeBroadcasts();
    std::future<void> newer;
    topic->OnSubscribe(
        [&](const Json::Value&)
        {
            newer = std::async(std::launch::async, [this] { boardControl->FirmwareUpdateStatus(Status(2)); });
            EXPECT_EQ(newer.wait_for(20ms), std::future_status::timeout);
            EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
        });
    newer.get();
    EXPECT_THAT(topic->TakeBroadcasts(), ElementsAre(R"({"status":"EFwUpdateStatusNotIdle"})"));
}

TEST_F(BoardControlFwUpdateStatus, TakesStatusesWhileSubscribersCome)
{
    RunTogether(4,
                [this](int number)
                {
                    for (int turn = 0; turn < 100; ++turn)
                    {
                        if (number % 2 == 0)
                        {
                            boardControl->FirmwareUpdateStatus(Status(turn % 11));
                        }
                        else
                        {
                            topic->Subscribe();
                        }
                    }
                });
    EXPECT_THAT(topic->TakeBroadcasts(), SizeIs(200));
}

TEST_F(BoardControlFwUpdateStatus, LogsItsConstruction)
{
    const CCapturedLog log;
    const CBoardControlFwUpdateStatusBroadcaster another(topic, boardControl);
    EXPECT_THAT(
        log.Messages(),
        ElementsAre(Line{Level::Trace,
                         "CBoardControlFwUpdateStatusBroadcaster::CBoardControlFwUpdateStatusBroadcaster"},
                    Line{Level::Trace, "CBoardControlFwUpdateStatusBroadcaster::ConnectService"}));
}

TEST_F(BoardControlFwUpdateStatus, DoesNothingWhenItIsGone)
{
    boardControl->FirmwareUpdateStatus(Status(1));
    topic->TakeBroadcasts();
    broadcaster.reset();
    boardControl->FirmwareUpdateStatus(Status(2));
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
    EXPECT_THAT(topic->Subscribe(), IsEmpty());
    EXPECT_EQ(topic.use_count(), 1);
    EXPECT_EQ(boardControl.use_count(), 1);
}

TEST_F(BoardControlFwUpdateStatus, EndsUndisturbedWhatIsUnderWayWhenItGoes)
{
    std::promise<void> hasBegun;
    std::promise<void> letGo;
    boardControl->FirmwareUpdateStatus(Status(1));
    std::thread subscribing(
        [&]
        {
            topic->OnSubscribe(
                [&](const Json::Value&)
                {
                    hasBegun.set_value();
                    letGo.get_future().wait();
                });
        });
    hasBegun.get_future().wait();
    broadcaster.reset();
    // all that it needs to its end
    EXPECT_GT(topic.use_count(), 1);
    letGo.set_value();
    subscribing.join();
    EXPECT_EQ(topic.use_count(), 1);
}
