#include "src/websocket/broadcasters/rfidtokenfound.h"

#include "platform/rpc/communicationexception.h"

#include <future>
#include <memory>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/faketopic.h"
#include "tests/fakes/mockservices.h"
#include "tests/support/capturedlog.h"

using testing::ElementsAre;
using testing::InSequence;
using testing::IsEmpty;
using testing::Return;
using testing::StrictMock;
using testing::Throw;
using Level = Log::ELogLevel;
using Line = CCapturedLog::SLine;

namespace
{

ipc::MResult Refusal()
{
    ipc::MResult result;
    result.set_status(ipc::EResultIllegal);
    return result;
}

class RfidTokenFound : public testing::Test
{
protected:
    const std::shared_ptr<CFakeTopic> topic = std::make_shared<CFakeTopic>();
    const std::shared_ptr<StrictMock<CMockRfid>> rfid = std::make_shared<StrictMock<CMockRfid>>();
    std::unique_ptr<CRfidTokenFoundBroadcaster> broadcaster =
        std::make_unique<CRfidTokenFoundBroadcaster>(topic, rfid);
};

} // namespace

TEST_F(RfidTokenFound, BroadcastsEachToken)
{
    rfid->TokenFound("04A1B2C3D4E5F6");
    rfid->TokenFound("");
    EXPECT_THAT(topic->TakeBroadcasts(), ElementsAre(R"({"tokenId":"04A1B2C3D4E5F6"})", R"({"tokenId":""})"));
}

TEST_F(RfidTokenFound, SwitchesTheReportOnForEachSubscriber)
{
    EXPECT_CALL(*rfid, SetTokenReport(true)).Times(2);
    topic->subscribers = 1;
    EXPECT_THAT(topic->Subscribe(), IsEmpty());
    topic->subscribers = 2;
    EXPECT_THAT(topic->Subscribe(), IsEmpty());
}

TEST_F(RfidTokenFound, SendsANewSubscriberNothingOfEarlierTokens)
{
    EXPECT_CALL(*rfid, SetTokenReport(true));
    rfid->TokenFound("04AA");
    EXPECT_THAT(topic->Subscribe(), IsEmpty());
}

TEST_F(RfidTokenFound, NeedsNoReplyCallable)
{
    EXPECT_CALL(*rfid, SetTokenReport(true));
    const CCapturedLog log;
    topic->OnSubscribe({});
    EXPECT_THAT(log.Messages(), IsEmpty());
}

TEST_F(RfidTokenFound, LeavesTheReportOnWhileSomebodyListens)
{
    topic->subscribers = 1;
    topic->OnUnsubscribe();
    // the strict mock has seen no call
}

TEST_F(RfidTokenFound, SwitchesTheReportOffWhenNobodyListensAnyMore)
{
    EXPECT_CALL(*rfid, SetTokenReport(false));
    topic->subscribers = 0;
    topic->OnUnsubscribe();
}

TEST_F(RfidTokenFound, SwitchesTheReportOffAgainForEachConnectionThatCloses)
{
    EXPECT_CALL(*rfid, SetTokenReport(false)).Times(3);
    topic->OnUnsubscribe();
    topic->OnUnsubscribe();
    topic->OnUnsubscribe();
}

TEST_F(RfidTokenFound, FollowsTwoSubscribersThatComeAndGo)
{
    const InSequence sequence;
    EXPECT_CALL(*rfid, SetTokenReport(true)).Times(2);
    EXPECT_CALL(*rfid, SetTokenReport(false));
    for (const int present : {1, 2})
    {
        topic->subscribers = static_cast<std::size_t>(present);
        topic->Subscribe();
    }
    for (const int left : {1, 0})
    {
        topic->subscribers = static_cast<std::size_t>(left);
        topic->OnUnsubscribe();
    }
}

TEST_F(RfidTokenFound, SwitchesTheReportOnAgainForASubscriberThatCameMeanwhile)
{
    const InSequence sequence;
    EXPECT_CALL(*rfid, SetTokenReport(false))
        .WillOnce(
            [this](bool)
            {
                topic->subscribers = 1;
                return ipc::MResult();
            });
    EXPECT_CALL(*rfid, SetTokenReport(true));
    topic->OnUnsubscribe();
}

TEST_F(RfidTokenFound, DropsARefusal)
{
    EXPECT_CALL(*rfid, SetTokenReport).WillRepeatedly(Return(Refusal()));
    const CCapturedLog log;
    EXPECT_THAT(topic->Subscribe(), IsEmpty());
    topic->OnUnsubscribe();
    EXPECT_THAT(log.Messages(), IsEmpty());
}

TEST_F(RfidTokenFound, PassesOnThatTheReaderIsOutOfReach)
{
    EXPECT_CALL(*rfid, SetTokenReport)
        .WillRepeatedly(Throw(Rpc::CommunicationException("Rfid.SetTokenReport")));
    EXPECT_THROW(topic->Subscribe(), Rpc::CommunicationException);
    EXPECT_THROW(topic->OnUnsubscribe(), Rpc::CommunicationException);
}

TEST_F(RfidTokenFound, LogsItsConstruction)
{
    const CCapturedLog log;
    const CRfidTokenFoundBroadcaster another(topic, rfid);
    rfid->TokenFound("04AA");
    EXPECT_THAT(log.Messages(),
                ElementsAre(Line{Level::Trace, "CRfidTokenFoundBroadcaster::CRfidTokenFoundBroadcaster"},
                            Line{Level::Trace, "CRfidTokenFoundBroadcaster::ConnectService"}));
}

TEST_F(RfidTokenFound, DoesNothingWhenItIsGone)
{
    broadcaster.reset();
    rfid->TokenFound("04AA");
    EXPECT_THAT(topic->Subscribe(), IsEmpty());
    topic->OnUnsubscribe();
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
}

TEST_F(RfidTokenFound, ReleasesTopicAndReaderWhenItGoes)
{
    broadcaster.reset();
    EXPECT_EQ(topic.use_count(), 1);
    EXPECT_EQ(rfid.use_count(), 1);
}

TEST_F(RfidTokenFound, EndsUndisturbedWhatIsUnderWayWhenItGoes)
{
    std::promise<void> hasBegun;
    std::promise<void> letGo;
    EXPECT_CALL(*rfid, SetTokenReport(false))
        .WillOnce(
            [&](bool)
            {
                hasBegun.set_value();
                letGo.get_future().wait();
                return ipc::MResult();
            });
    std::thread closing([this] { topic->OnUnsubscribe(); });
    hasBegun.get_future().wait();
    broadcaster.reset();
    // all that it needs to its end
    EXPECT_GT(topic.use_count(), 1);
    letGo.set_value();
    closing.join();
    EXPECT_EQ(topic.use_count(), 1);
}
