#include "src/services/meterdataproxy.h"

#include "platform/rpc/communicationexception.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/mockservices.h"
#include "tests/support/capturedlog.h"
#include "tests/support/runtogether.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Return;
using testing::StrictMock;
using testing::Throw;
using Level = Log::ELogLevel;
using Line = CCapturedLog::SLine;

namespace
{

ipc::MMeterData Data(std::int64_t totalEnergy)
{
    ipc::MMeterData data;
    data.add_power(1);
    data.add_power(-2);
    data.set_session_marker("marker");
    data.set_total_energy(totalEnergy);
    data.set_energy_at_session_start(7);
    return data;
}

/// A proxy over a meter that fails a test that calls it without need, in a time that a test moves.
class MeterDataProxy : public testing::Test
{
protected:
    std::int64_t Energy() { return proxy.GetMeterData().total_energy(); }

    const std::shared_ptr<StrictMock<CMockMeter>> meter = std::make_shared<StrictMock<CMockMeter>>();
    /// Of a host that has been up for a while.
    std::atomic<std::chrono::nanoseconds> now{std::chrono::nanoseconds(1h)};
    CMeterDataProxy proxy{meter, 2s, [this] { return std::chrono::steady_clock::time_point(now.load()); }};
};

} // namespace

// ------------------------------------------------------------------------------------------- the cache

TEST_F(MeterDataProxy, ReadsTheServiceTheFirstTime)
{
    EXPECT_CALL(*meter, GetMeterData).WillOnce(Return(Data(5'000'000'000)));
    EXPECT_EQ(proxy.GetMeterData().SerializeAsString(), Data(5'000'000'000).SerializeAsString());
}

TEST_F(MeterDataProxy, GivesTwoCallersWithinTheAgeTheSameReading)
{
    EXPECT_CALL(*meter, GetMeterData).WillOnce(Return(Data(1)));
    const std::string first = proxy.GetMeterData().SerializeAsString();
    now = 1h + 2s - 1ns;
    EXPECT_EQ(proxy.GetMeterData().SerializeAsString(), first);
}

TEST_F(MeterDataProxy, ReadsAnewFromTheAgeOn)
{
    EXPECT_CALL(*meter, GetMeterData).WillOnce(Return(Data(1))).WillOnce(Return(Data(2)));
    EXPECT_EQ(Energy(), 1);
    now = 1h + 2s;
    EXPECT_EQ(Energy(), 2);
}

TEST_F(MeterDataProxy, ReckonsTheAgeFromTheLastReading)
{
    EXPECT_CALL(*meter, GetMeterData)
        .WillOnce(Return(Data(1)))
        .WillOnce(Return(Data(2)))
        .WillOnce(Return(Data(3)));
    EXPECT_EQ(Energy(), 1);
    now = 1h + 3s;
    EXPECT_EQ(Energy(), 2);
    now = 1h + 4s; // two periods from the first reading on, but one second from the second
    EXPECT_EQ(Energy(), 2);
    now = 1h + 5s;
    EXPECT_EQ(Energy(), 3);
}

TEST_F(MeterDataProxy, ReckonsTheAgeFromTheBeginningOfASlowReading)
{
    EXPECT_CALL(*meter, GetMeterData)
        .WillOnce(
            [this]
            {
                now = 1h + 1s;
                return Data(1);
            })
        .WillOnce(Return(Data(2)));
    EXPECT_EQ(Energy(), 1);
    now = 1h + 2s;
    EXPECT_EQ(Energy(), 2);
}

TEST_F(MeterDataProxy, LeavesNothingOfTheFormerReadingBehind)
{
    EXPECT_CALL(*meter, GetMeterData).WillOnce(Return(Data(1))).WillOnce(Return(ipc::MMeterData()));
    EXPECT_EQ(proxy.GetMeterData().power_size(), 2);
    now = 1h + 2s;
    EXPECT_EQ(proxy.GetMeterData().SerializeAsString(), "");
}

TEST_F(MeterDataProxy, GivesACopy)
{
    EXPECT_CALL(*meter, GetMeterData).WillOnce(Return(Data(1)));
    proxy.GetMeterData().set_total_energy(99);
    EXPECT_EQ(Energy(), 1);
}

TEST(MeterDataProxyOnTheSteadyClock, ReadsEachTimeForAnAgeOfNothing)
{
    const auto meter = std::make_shared<StrictMock<CMockMeter>>();
    CMeterDataProxy proxy(meter, 0s);
    EXPECT_CALL(*meter, GetMeterData).WillOnce(Return(Data(1))).WillOnce(Return(Data(2)));
    EXPECT_EQ(proxy.GetMeterData().total_energy(), 1);
    EXPECT_EQ(proxy.GetMeterData().total_energy(), 2);
}

// ------------------------------------------------------------------------------------------- failures

TEST_F(MeterDataProxy, PassesAFailureOnAndKeepsTheCache)
{
    EXPECT_CALL(*meter, GetMeterData)
        .WillOnce(Return(Data(1)))
        .WillOnce(Throw(Rpc::CommunicationException("MeterService.GetMeterData")));
    EXPECT_EQ(Energy(), 1);

    now = 1h + 2s;
    EXPECT_THROW(Energy(), Rpc::CommunicationException);

    // within the age of the reading before
    now = 1h + 1s;
    EXPECT_EQ(Energy(), 1);
}

TEST_F(MeterDataProxy, TriesAgainAtOnceAfterAFailure)
{
    EXPECT_CALL(*meter, GetMeterData)
        .WillOnce(Throw(Rpc::CommunicationException("MeterService.GetMeterData")))
        .WillOnce(Throw(std::logic_error("something else")))
        .WillOnce(Return(Data(3)));
    EXPECT_THROW(Energy(), Rpc::CommunicationException);
    EXPECT_THROW(Energy(), std::logic_error);
    EXPECT_EQ(Energy(), 3);
}

TEST_F(MeterDataProxy, LetsOthersInAfterAFailure)
{
    EXPECT_CALL(*meter, GetMeterData)
        .WillOnce(Throw(Rpc::CommunicationException("MeterService.GetMeterData")))
        .WillOnce(Return(Data(2)));
    EXPECT_THROW(Energy(), Rpc::CommunicationException);
    // a lock that was left behind would hold another thread up for ever
    EXPECT_EQ(std::async(std::launch::async, [this] { return Energy(); }).get(), 2);
}

// ------------------------------------------------------------------------------------------- several threads

TEST_F(MeterDataProxy, LetsCallersWaitForAReadingUnderWayAndShareIt)
{
    std::promise<void> readingHasBegun;
    std::promise<void> letGo;
    EXPECT_CALL(*meter, GetMeterData)
        .WillOnce(
            [&]
            {
                readingHasBegun.set_value();
                letGo.get_future().wait();
                return Data(1);
            });

    auto reader = std::async(std::launch::async, [this] { return Energy(); });
    readingHasBegun.get_future().wait();
    auto waiting = std::async(std::launch::async, [this] { return Energy(); });
    EXPECT_EQ(waiting.wait_for(20ms), std::future_status::timeout);
    letGo.set_value();

    EXPECT_EQ(reader.get(), 1);
    EXPECT_EQ(waiting.get(), 1);
}

TEST_F(MeterDataProxy, MakesOneCallForAllWhoAskTogether)
{
    EXPECT_CALL(*meter, GetMeterData).WillOnce(Return(Data(1)));
    RunTogether(8, [this](int) { EXPECT_EQ(Energy(), 1); });
}

TEST_F(MeterDataProxy, GivesWholeReadingsWhileTheyChange)
{
    std::atomic<std::int64_t> reading{0};
    EXPECT_CALL(*meter, GetMeterData)
        .WillRepeatedly(
            [&]
            {
                ipc::MMeterData data;
                data.set_total_energy(++reading);
                data.set_session_marker(std::to_string(data.total_energy()));
                return data;
            });
    RunTogether(4,
                [this](int)
                {
                    for (int turn = 0; turn < 200; ++turn)
                    {
                        now = now.load() + 1s;
                        const ipc::MMeterData data = proxy.GetMeterData();
                        EXPECT_EQ(data.session_marker(), std::to_string(data.total_energy()));
                    }
                });
}

// ------------------------------------------------------------------------------------------- other
// operations

TEST_F(MeterDataProxy, AnswersTheOtherOperationsWithoutTheService)
{
    const std::vector<ipc::MResult> results{proxy.Enable(),
                                            proxy.Disable(),
                                            proxy.Reset(),
                                            proxy.StartSession(),
                                            proxy.StopSession(),
                                            proxy.EnableDisplay(),
                                            proxy.DisableDisplay(),
                                            proxy.SelfTest()};
    for (const ipc::MResult& result : results)
    {
        EXPECT_EQ(static_cast<int>(result.status()), 1);
    }
    EXPECT_EQ(proxy.GetSerialNumber(), "");
    EXPECT_EQ(proxy.GetFirmwareVersion(), "");
}

// ------------------------------------------------------------------------------------------- no meter

TEST(MeterDataProxyWithoutAMeter, GivesDefaultsAndSaysSoOnce)
{
    const CCapturedLog log;
    CMeterDataProxy proxy(nullptr, 2s);
    EXPECT_THAT(log.Messages(),
                ElementsAre(Line{Level::Trace, "CMeterDataProxy::CMeterDataProxy"},
                            Line{Level::Warn, "No meter service available to read."}));
    EXPECT_EQ(proxy.GetMeterData().SerializeAsString(), "");
    EXPECT_EQ(proxy.GetMeterData().SerializeAsString(), "");
    EXPECT_EQ(log.Messages(Level::Warn).size(), 1U);
    EXPECT_THAT(log.Messages(Level::Debug), IsEmpty());
    EXPECT_THAT(log.Messages(Level::Info), IsEmpty());
    EXPECT_THAT(log.Messages(Level::Error), IsEmpty());
}

TEST(MeterDataProxyWithoutAMeter, AnswersTheOtherOperationsAllTheSame)
{
    CMeterDataProxy proxy(nullptr, 2s);
    EXPECT_EQ(static_cast<int>(proxy.SelfTest().status()), 1);
    EXPECT_EQ(proxy.GetSerialNumber(), "");
}

// ------------------------------------------------------------------------------------------- log

TEST_F(MeterDataProxy, LogsItsEntriesOnly)
{
    const CCapturedLog log;
    const CMeterDataProxy another(meter, 2s);
    EXPECT_CALL(*meter, GetMeterData).WillOnce(Return(Data(1)));
    Energy();
    Energy();
    EXPECT_THAT(log.Messages(),
                ElementsAre(Line{Level::Trace, "CMeterDataProxy::CMeterDataProxy"},
                            Line{Level::Trace, "CMeterDataProxy::GetMeterData"},
                            Line{Level::Trace, "CMeterDataProxy::GetMeterData"}));
}
