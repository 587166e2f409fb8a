#include "src/websocket/broadcasters/diagnosticsstatuschanged.h"

#include "platform/rpc/communicationexception.h"

#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/faketopic.h"
#include "tests/fakes/mockservices.h"
#include "tests/support/capturedlog.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Return;
using testing::StrictMock;
using testing::Throw;
using Level = Log::ELogLevel;
using Line = CCapturedLog::SLine;

namespace
{

ipc::MDiagnosticsSignal EmptySignal(int identifier)
{
    ipc::MDiagnosticsSignal signal;
    signal.set_identifier(static_cast<ipc::ESignalIdentifier>(identifier));
    return signal;
}

ipc::MDiagnosticsSignal Flag(int identifier, bool value)
{
    ipc::MDiagnosticsSignal signal = EmptySignal(identifier);
    signal.add_data()->set_bool_value(value);
    return signal;
}

ipc::MDiagnosticsSignal TwoFlags(int identifier)
{
    ipc::MDiagnosticsSignal signal = Flag(identifier, true);
    signal.add_data()->set_bool_value(true);
    return signal;
}

ipc::MDiagnosticsSnapshot Snapshot(const std::vector<ipc::MDiagnosticsSignal>& signals)
{
    ipc::MDiagnosticsSnapshot snapshot;
    for (const ipc::MDiagnosticsSignal& signal : signals)
    {
        *snapshot.add_signal() = signal;
    }
    return snapshot;
}

/// One signal of each kind of value that is not a bool, by the number of the kind; 0 has none.
std::vector<ipc::MDiagnosticsSignal> SignalsOfOtherKinds(int identifier)
{
    std::vector<ipc::MDiagnosticsSignal> signals(7, EmptySignal(identifier));
    signals[0].add_data();
    signals[2].add_data()->set_int_value(1);
    signals[3].add_data()->set_uint_value(1);
    signals[4].add_data()->set_int64_value(1);
    signals[5].add_data()->set_float_value(1);
    signals[6].add_data()->set_string_value("true");
    signals.erase(signals.begin() + 1);
    return signals;
}

class DiagnosticsStatusChanged : public testing::Test
{
protected:
    void Notify(const ipc::MDiagnosticsSignal& signal, int type = 0)
    {
        ipc::MDiagnosticsNotificationType message;
        message.set_type(type);
        diagnostics->SignalChange(signal, message);
    }

    const std::shared_ptr<CFakeTopic> topic = std::make_shared<CFakeTopic>();
    const std::shared_ptr<StrictMock<CMockDiagnostics>> diagnostics =
        std::make_shared<StrictMock<CMockDiagnostics>>();
    std::unique_ptr<CDiagnosticsStatusChangedBroadcaster> broadcaster =
        std::make_unique<CDiagnosticsStatusChangedBroadcaster>(topic, diagnostics);
};

} // namespace

// ------------------------------------------------------------------------------------------- changes

TEST_F(DiagnosticsStatusChanged, BroadcastsWhatComesUpAndWhatGoes)
{
    Notify(Flag(1001, true), 0);
    Notify(Flag(1001, false), 1);
    // the type says nothing of the value
    Notify(Flag(1001, false), 0);
    EXPECT_THAT(topic->TakeBroadcasts(),
                ElementsAre(R"({"signal":1001,"type":"error","value":true})",
                            R"({"signal":1001,"type":"error","value":false})",
                            R"({"signal":1001,"type":"error","value":false})"));
}

TEST_F(DiagnosticsStatusChanged, TellsErrorsFromWarningsByTheIdentifier)
{
    Notify(Flag(9999, true));
    Notify(Flag(10000, true));
    EXPECT_THAT(topic->TakeBroadcasts(),
                ElementsAre(R"({"signal":9999,"type":"error","value":true})",
                            R"({"signal":10000,"type":"warning","value":true})"));
}

TEST_F(DiagnosticsStatusChanged, BroadcastsAnyIdentifier)
{
    Notify(Flag(0, true));
    Notify(Flag(999, true));
    Notify(Flag(20000, true));
    EXPECT_THAT(topic->TakeBroadcasts(),
                ElementsAre(R"({"signal":0,"type":"error","value":true})",
                            R"({"signal":999,"type":"error","value":true})",
                            R"({"signal":20000,"type":"warning","value":true})"));
}

TEST_F(DiagnosticsStatusChanged, IgnoresChangesOfTypeTwoInSilence)
{
    const CCapturedLog log(Level::Debug);
    Notify(Flag(1001, true), 2);
    Notify(TwoFlags(1001), 2);
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
    EXPECT_THAT(log.Messages(), IsEmpty());
}

TEST_F(DiagnosticsStatusChanged, LogsATypeThatItDoesNotKnow)
{
    const CCapturedLog log(Level::Debug);
    Notify(Flag(1001, true), 3);
    Notify(Flag(1001, true), -1);
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
    EXPECT_THAT(log.Messages(),
                ElementsAre(Line{Level::Error, "Diagnostic notification type not as expected. Actual: 3."},
                            Line{Level::Error, "Diagnostic notification type not as expected. Actual: -1."}));
}

TEST_F(DiagnosticsStatusChanged, RefusesASignalOfNoneOrSeveralValues)
{
    const CCapturedLog log(Level::Debug);
    Notify(EmptySignal(1001));
    Notify(TwoFlags(1002), 1);
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
    EXPECT_THAT(
        log.Messages(),
        ElementsAre(Line{Level::Warn, "Expected data size in diagnostic signal '1001' of 1. Actual: 0."},
                    Line{Level::Warn, "Expected data size in diagnostic signal '1002' of 1. Actual: 2."}));
}

TEST_F(DiagnosticsStatusChanged, RefusesAValueThatIsNoBool)
{
    const CCapturedLog log(Level::Debug);
    for (const ipc::MDiagnosticsSignal& signal : SignalsOfOtherKinds(1003))
    {
        Notify(signal);
    }
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
    const std::string text = "Expected boolean data value in diagnostic signal '1003'. Actual: ";
    EXPECT_THAT(log.Messages(),
                ElementsAre(Line{Level::Warn, text + "0."},
                            Line{Level::Warn, text + "2."},
                            Line{Level::Warn, text + "3."},
                            Line{Level::Warn, text + "4."},
                            Line{Level::Warn, text + "5."},
                            Line{Level::Warn, text + "6."}));
}

// ------------------------------------------------------------------------------------------- a new
// subscriber

TEST_F(DiagnosticsStatusChanged, SendsANewSubscriberTheActiveErrorsAndWarningsInOrder)
{
    EXPECT_CALL(*diagnostics, GetSnapshot)
        .WillOnce(
            Return(Snapshot({Flag(10000, true), Flag(1002, false), Flag(9999, true), Flag(1001, true)})));
    EXPECT_THAT(topic->Subscribe(),
                ElementsAre(R"({"signal":10000,"type":"warning","value":true})",
                            R"({"signal":9999,"type":"error","value":true})",
                            R"({"signal":1001,"type":"error","value":true})"));
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
}

TEST_F(DiagnosticsStatusChanged, SendsANewSubscriberIdentifiersOfErrorsAndWarningsOnly)
{
    EXPECT_CALL(*diagnostics, GetSnapshot)
        .WillOnce(Return(Snapshot(
            {Flag(0, true), Flag(999, true), Flag(1000, true), Flag(19999, true), Flag(20000, true)})));
    EXPECT_THAT(topic->Subscribe(),
                ElementsAre(R"({"signal":1000,"type":"error","value":true})",
                            R"({"signal":19999,"type":"warning","value":true})"));
}

TEST_F(DiagnosticsStatusChanged, RefusesWhatIsNoSingleBoolForANewSubscriberToo)
{
    std::vector<ipc::MDiagnosticsSignal> signals = SignalsOfOtherKinds(1003);
    signals.push_back(TwoFlags(1004));
    signals.push_back(Flag(1005, true));
    EXPECT_CALL(*diagnostics, GetSnapshot).WillOnce(Return(Snapshot(signals)));
    const CCapturedLog log(Level::Debug);
    EXPECT_THAT(topic->Subscribe(), ElementsAre(R"({"signal":1005,"type":"error","value":true})"));
    EXPECT_EQ(log.Messages().size(), 7U);
    EXPECT_TRUE(log.Has(Level::Warn, "Expected data size in diagnostic signal '1004' of 1. Actual: 2."));
}

TEST_F(DiagnosticsStatusChanged, DoesNotLookAtTheValuesOfOtherIdentifiers)
{
    EXPECT_CALL(*diagnostics, GetSnapshot)
        .WillOnce(Return(Snapshot({TwoFlags(999), EmptySignal(20000), EmptySignal(52)})));
    const CCapturedLog log(Level::Debug);
    EXPECT_THAT(topic->Subscribe(), IsEmpty());
    EXPECT_THAT(log.Messages(), IsEmpty());
}

TEST_F(DiagnosticsStatusChanged, KeepsNothingOfWhatItHasBroadcast)
{
    Notify(Flag(1001, true));
    EXPECT_CALL(*diagnostics, GetSnapshot).WillOnce(Return(ipc::MDiagnosticsSnapshot()));
    EXPECT_THAT(topic->Subscribe(), IsEmpty());
}

TEST_F(DiagnosticsStatusChanged, LogsASubscriptionWithoutAReplyCallableAndReadsNothing)
{
    const CCapturedLog log;
    topic->OnSubscribe({});
    EXPECT_THAT(log.Messages(),
                ElementsAre(Line{Level::Trace, "CDiagnosticsStatusChangedBroadcaster::SendInitialErrorSet"},
                            Line{Level::Debug,
                                 "OnSubscribe callback was not provided with a reply callback object."}));
}

TEST_F(DiagnosticsStatusChanged, PassesOnThatTheServiceIsOutOfReach)
{
    EXPECT_CALL(*diagnostics, GetSnapshot)
        .WillOnce(Throw(Rpc::CommunicationException("Diagnostics.GetSnapshot")));
    EXPECT_THROW(topic->Subscribe(), Rpc::CommunicationException);
}

TEST_F(DiagnosticsStatusChanged, LeavesUnsubscriptionsAlone)
{
    EXPECT_FALSE(topic->OnUnsubscribe);
}

// ------------------------------------------------------------------------------------------- log and life

TEST_F(DiagnosticsStatusChanged, LogsItsEntries)
{
    const CCapturedLog log;
    const CDiagnosticsStatusChangedBroadcaster another(topic, diagnostics);
    Notify(Flag(1001, true));
    EXPECT_THAT(log.Messages(Level::Trace),
                ElementsAre("CDiagnosticsStatusChangedBroadcaster::CDiagnosticsStatusChangedBroadcaster",
                            "CDiagnosticsStatusChangedBroadcaster::ConnectService",
                            "CDiagnosticsStatusChangedBroadcaster::HandleDiagnosticsNotification",
                            "CDiagnosticsStatusChangedBroadcaster::BroadcastSignal",
                            "CDiagnosticsStatusChangedBroadcaster::IsValidDiagnosticSignal",
                            "CDiagnosticsStatusChangedBroadcaster::ConstructMessageFromSignal"));
}

TEST_F(DiagnosticsStatusChanged, LetsTheTopicCallBackWhileItBroadcasts)
{
    EXPECT_CALL(*diagnostics, GetSnapshot).WillOnce(Return(Snapshot({Flag(1001, true)})));
    std::vector<std::string> replies;
    topic->onBroadcast = [&] { replies = topic->Subscribe(); };
    Notify(Flag(1001, true));
    EXPECT_THAT(replies, ElementsAre(R"({"signal":1001,"type":"error","value":true})"));
}

TEST_F(DiagnosticsStatusChanged, DoesNothingWhenItIsGone)
{
    broadcaster.reset();
    Notify(Flag(1001, true));
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
    EXPECT_THAT(topic->Subscribe(), IsEmpty());
    EXPECT_EQ(topic.use_count(), 1);
    EXPECT_EQ(diagnostics.use_count(), 1);
}

TEST_F(DiagnosticsStatusChanged, EndsUndisturbedWhatIsUnderWayWhenItGoes)
{
    std::promise<void> hasBegun;
    std::promise<void> letGo;
    EXPECT_CALL(*diagnostics, GetSnapshot)
        .WillOnce(
            [&]
            {
                hasBegun.set_value();
                letGo.get_future().wait();
                return Snapshot({Flag(1001, true)});
            });
    std::vector<std::string> replies;
    std::thread subscribing([&] { replies = topic->Subscribe(); });
    hasBegun.get_future().wait();
    broadcaster.reset();
    // all that it needs to its end
    EXPECT_GT(topic.use_count(), 1);
    letGo.set_value();
    subscribing.join();
    EXPECT_EQ(topic.use_count(), 1);
    EXPECT_THAT(replies, ElementsAre(R"({"signal":1001,"type":"error","value":true})"));
}
