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
    const ipc::MDiagnosticsSignal signal = diagnostics->GetSignal(2);
    EXPECT_EQ(signal.identifier(), 2);
    EXPECT_EQ(signal.data_size(), 0);
}

TEST_F(SimulatedDiagnostics, SignalOfTheCatalogueStartsWithItsInitialValue)
{
    const ipc::MDiagnosticsSignal currents = diagnostics->GetSignal(140);
    EXPECT_EQ(currents.identifier(), 140);
    ASSERT_EQ(currents.data_size(), 3);
    EXPECT_EQ(currents.data(2).value_case(), ipc::MDiagnosticsData::kFloatValue);
    EXPECT_EQ(currents.data(2).float_value(), -1000.0F);
    ASSERT_EQ(diagnostics->GetSignal(142).data_size(), 1);
    EXPECT_EQ(diagnostics->GetSignal(142).data(0).string_value(), "Unknown");
    ASSERT_EQ(diagnostics->GetSignal(1001).data_size(), 1);
    EXPECT_EQ(diagnostics->GetSignal(1001).data(0).value_case(), ipc::MDiagnosticsData::kBoolValue);
    EXPECT_FALSE(diagnostics->GetSignal(1001).data(0).bool_value());
    EXPECT_TRUE(changes.empty());
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
    live.clear();
    EXPECT_EQ(diagnostics->GetSignal(52).data(0).int_value(), -1000);
}

TEST_F(SimulatedDiagnostics, KnowsTheSignalsThatHaveMoreThanAnInitialValueByNumber)
{
    live = {Number(128, -50), Number(52, 16000)};
    diagnostics->SetSignal(Flag(1001, true));
    diagnostics->SetSignal(Number(52, 5));
    const ipc::MDiagnosticsSnapshot known = diagnostics->GetKnownSignals();
    ASSERT_EQ(known.signal_size(), 3);
    EXPECT_EQ(known.signal(0).identifier(), 52);
    EXPECT_EQ(known.signal(0).data(0).int_value(), 5);
    EXPECT_EQ(known.signal(1).identifier(), 128);
    EXPECT_EQ(known.signal(2).identifier(), 1001);
}

TEST_F(SimulatedDiagnostics, SnapshotHasTheCatalogueAndWhatElseIsKnown)
{
    EXPECT_EQ(diagnostics->GetSnapshot().signal_size(), 205);
    live = {Number(128, -50)};
    diagnostics->SetSignal(Flag(2, true));
    const ipc::MDiagnosticsSnapshot snapshot = diagnostics->GetSnapshot();
    ASSERT_EQ(snapshot.signal_size(), 206);
    EXPECT_EQ(snapshot.signal(0).identifier(), 1);
    EXPECT_EQ(snapshot.signal(1).identifier(), 2);
    EXPECT_TRUE(snapshot.signal(1).data(0).bool_value());
    EXPECT_EQ(snapshot.signal(205).identifier(), 20504);
}

TEST_F(SimulatedDiagnostics, FreezeFrameThatWasNeverTakenIsAnnounced)
{
    diagnostics->AnnounceFreezeFrame("");
    EXPECT_EQ(finished, std::vector<std::string>{""});
    EXPECT_TRUE(frames.empty());
}

TEST_F(SimulatedDiagnostics, FreezeFrameIsWrittenOnTheWorkerAndThenAnnounced)
{
    diagnostics->SetSignal(Flag(1001, true));
    diagnostics->CreateFreezeFrame("a reason");
    EXPECT_TRUE(frames.empty());
    RunWorker();
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(frames[0]["Reason"], "a reason");
    ASSERT_EQ(frames[0]["Signals"].size(), 205U);
    EXPECT_EQ(frames[0]["Signals"][0]["Identifier"], 1);
    EXPECT_EQ(finished, std::vector<std::string>{"/log/frame.json"});
}

TEST_F(SimulatedDiagnostics, FreezeFrameOfAnObjectThatIsGoneDoesNothing)
{
    diagnostics->CreateFreezeFrame("a reason");
    diagnostics.reset();
    RunWorker();
    EXPECT_TRUE(frames.empty());
}
