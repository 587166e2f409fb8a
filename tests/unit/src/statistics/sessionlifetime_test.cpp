#include "src/statistics/sessionstatisticscomponent.h"

#include "platform/json/jsonutil.h"

#include <atomic>
#include <future>
#include <memory>
#include <thread>

#include "tests/support/eventually.h"
#include "tests/unit/src/statistics/chargetest.h"

using namespace std::chrono_literals;

namespace
{

class SessionLifetime : public ChargeTest
{
protected:
    SessionLifetime()
        : ChargeTest(Time(0s))
    {
        component = std::make_unique<CSessionStatisticsComponent>(
            meter, notifications, worker, 30s, 300s, 288, time.Source());
    }

    std::unique_ptr<CSessionStatisticsComponent> component;
};

} // namespace

TEST_F(SessionLifetime, EndStopsThePollingAndTheListening)
{
    Notify(Charging);
    ASSERT_EQ(meter->Readings(), 1);

    component.reset();

    time.Advance(300s);
    Notify(Charging);
    Notify(Finishing);
    EXPECT_EQ(meter->Readings(), 1);
}

TEST_F(SessionLifetime, EndWaitsForTheReadingUnderWay)
{
    Notify(Charging);
    CHungMeter hung(*meter);
    time.WorkerClock()->Jump(30s);
    ASSERT_TRUE(hung.Await());

    auto end = std::async(std::launch::async, [this] { component.reset(); });

    EXPECT_EQ(end.wait_for(Watch), std::future_status::timeout);
    hung.GoOn();
    end.get();
    time.Advance(300s);
    EXPECT_EQ(meter->Readings(), 2);
}

TEST_F(SessionLifetime, EndDoesNotWaitForANotificationUnderWayWhichStartsNothing)
{
    CHungMeter hung(*meter);
    auto notification = std::async(std::launch::async, [this] { Notify(Charging); });
    ASSERT_TRUE(hung.Await());

    component.reset();
    hung.GoOn();
    notification.get();

    time.Advance(300s);
    EXPECT_EQ(meter->Readings(), 1);
}

TEST_F(SessionLifetime, EndAfterTheWorkersIsHarmless)
{
    Notify(Charging);
    worker->Stop();
    component.reset();
    EXPECT_EQ(meter->Readings(), 1);
}

TEST_F(SessionLifetime, ReadersDoNotWaitForAMeterThatHangs)
{
    Notify(Charging);
    CHungMeter hung(*meter);
    time.WorkerClock()->Jump(30s);
    ASSERT_TRUE(hung.Await());

    auto reading = std::async(std::launch::async, [this] { return component->ReadSessionStatistics(); });

    EXPECT_EQ(reading.wait_for(TestPatience), std::future_status::ready);
    hung.GoOn();
    EXPECT_EQ(reading.get()["data"].size(), 1U);
}

TEST_F(SessionLifetime, ReadersMeetSessionsAndPolls)
{
    meter->SetPower({1, 2, 3});
    std::atomic<bool> isOver{false};
    const auto read = [this, &isOver]
    {
        do
        {
            const Json::Value statistics = component->ReadSessionStatistics();
            for (const Json::Value& point : statistics["data"])
            {
                ASSERT_EQ(JsonUtil::WriteUnstyled(point["averagePower"]), "[1,2,3]");
            }
        } while (!isOver.load(std::memory_order_relaxed));
    };
    std::thread reader(read);
    std::thread secondReader(read);
    std::thread notification(
        [this]
        {
            for (int round = 0; round < 200; ++round)
            {
                Notify(Charging);
                Notify(Finishing);
                Notify(Charging);
            }
        });
    for (int round = 0; round < 200; ++round)
    {
        time.WorkerClock()->Jump(30s);
        std::this_thread::yield();
    }
    notification.join();
    time.Advance(300s);
    isOver = true;
    reader.join();
    secondReader.join();
}
