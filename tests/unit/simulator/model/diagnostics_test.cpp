#include "simulator/model/diagnostics.h"

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/manualclock.h"

using Simulator::CDiagnostics;
using Simulator::ChangeType;
using Simulator::EmptySignal;

namespace
{

ipc::MDiagnosticsSignal Flag(int identifier, bool value)
{
    ipc::MDiagnosticsSignal signal = EmptySignal(identifier);
    signal.add_data()->set_bool_value(value);
    return signal;
}

ipc::MDiagnosticsSignal Number(int identifier, int value)
{
    ipc::MDiagnosticsSignal signal = EmptySignal(identifier);
    signal.add_data()->set_int_value(value);
    return signal;
}

class SimulatedDiagnostics : public testing::Test
{
protected:
    std::shared_ptr<CDiagnostics> Make()
    {
        CDiagnostics::SOutputs outputs;
        outputs.signalChange = [this](const ipc::MSignalChange& change) { changes.push_back(change); };
        outputs.freezeFrameDone = [this](const std::string& file) { finished.push_back(file); };
        return std::make_shared<CDiagnostics>(
            worker,
            [this] { return live; },
            [this](const Json::Value& frame)
            {
                frames.push_back(frame);
                return std::string("/log/frame.json");
            },
            outputs);
    }

    void RunWorker()
    {
        worker->Start();
        worker->Sync();
        worker->Stop();
    }

    std::shared_ptr<CWorker> worker = std::make_shared<CWorker>();
    std::vector<ipc::MDiagnosticsSignal> live;
    std::vector<ipc::MSignalChange> changes;
    std::vector<std::string> finished;
    std::vector<Json::Value> frames;
    std::shared_ptr<CDiagnostics> diagnostics = Make();
};

} // namespace

TEST(SimulatedSignals, ChangeOfAFlagIsZeroUpOneDownAndTwoForTheRest)
{
    EXPECT_EQ(ChangeType(Flag(1000, true)), 0);
    EXPECT_EQ(ChangeType(Flag(1000, false)), 1);
    EXPECT_EQ(ChangeType(Number(14, 1)), 2);
    EXPECT_EQ(ChangeType(EmptySignal(14)), 2);
    ipc::MDiagnosticsSignal two = Flag(1000, true);
    two.add_data()->set_bool_value(true);
    EXPECT_EQ(ChangeType(two), 2);
}

TEST_F(SimulatedDiagnostics, UnknownSignalHasNoValues)
{
    const ipc::MDiagnosticsSignal signal = diagnostics->GetSignal(140);
    EXPECT_EQ(signal.identifier(), 140);
    EXPECT_EQ(signal.data_size(), 0);
}

TEST_F(SimulatedDiagnostics, SetSignalIsReadAndAnnounced)
{
    diagnostics->SetSignal(Flag(1001, true));
    EXPECT_TRUE(diagnostics->GetSignal(1001).data(0).bool_value());
    ASSERT_EQ(changes.size(), 1U);
    EXPECT_EQ(changes[0].signal().identifier(), 1001);
    EXPECT_TRUE(changes[0].signal().data(0).bool_value());
    EXPECT_EQ(changes[0].type().type(), 0);
}

TEST_F(SimulatedDiagnostics, TypeOfAnAnnouncementCanBeGiven)
{
    diagnostics->SetSignal(Flag(1001, true), 7);
    ASSERT_EQ(changes.size(), 1U);
    EXPECT_EQ(changes[0].type().type(), 7);
}

TEST_F(SimulatedDiagnostics, SetValueGoesBeforeTheStationsOwn)
{
    live = {Number(52, 16000)};
    EXPECT_EQ(diagnostics->GetSignal(52).data(0).int_value(), 16000);
    diagnostics->SetSignal(Number(52, 5));
    EXPECT_EQ(diagnostics->GetSignal(52).data(0).int_value(), 5);
    diagnostics->ClearSignal(52);
    EXPECT_EQ(diagnostics->GetSignal(52).data(0).int_value(), 16000);
    EXPECT_EQ(changes.size(), 1U);
}

TEST_F(SimulatedDiagnostics, SnapshotHasAllSignalsByNumber)
{
    live = {Number(128, -50), Number(52, 16000)};
    diagnostics->SetSignal(Flag(1001, true));
    diagnostics->SetSignal(Number(52, 5));
    const ipc::MDiagnosticsSnapshot snapshot = diagnostics->GetSnapshot();
    ASSERT_EQ(snapshot.signal_size(), 3);
    EXPECT_EQ(snapshot.signal(0).identifier(), 52);
    EXPECT_EQ(snapshot.signal(0).data(0).int_value(), 5);
    EXPECT_EQ(snapshot.signal(1).identifier(), 128);
    EXPECT_EQ(snapshot.signal(2).identifier(), 1001);
}

TEST_F(SimulatedDiagnostics, FreezeFrameIsWrittenOnTheWorkerAndThenAnnounced)
{
    diagnostics->SetSignal(Flag(1001, true));
    diagnostics->CreateFreezeFrame("a reason");
    EXPECT_TRUE(frames.empty());
    RunWorker();
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(frames[0]["Reason"], "a reason");
    EXPECT_EQ(frames[0]["Signals"][0]["Identifier"], 1001);
    EXPECT_EQ(finished, std::vector<std::string>{"/log/frame.json"});
}

TEST_F(SimulatedDiagnostics, FreezeFrameOfAnObjectThatIsGoneDoesNothing)
{
    diagnostics->CreateFreezeFrame("a reason");
    diagnostics.reset();
    RunWorker();
    EXPECT_TRUE(frames.empty());
}
