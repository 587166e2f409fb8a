#include "src/statistics/energyhistory.h"

#include "platform/json/jsonutil.h"

#include <atomic>
#include <future>
#include <memory>
#include <thread>

#include "tests/support/eventually.h"
#include "tests/unit/src/statistics/historytest.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::Pair;

namespace
{

class HistoryLifetime : public HistoryTest
{
};

} // namespace

TEST_F(HistoryLifetime, EndStopsTheNightsAndTheListening)
{
    Start();
    Notify(Charging);
    ASSERT_EQ(meter->Readings(), 1);

    component.reset();

    time.Advance(48h);
    Notify(Finishing);
    EXPECT_EQ(meter->Readings(), 1);
    EXPECT_EQ(File(), "");
}

TEST_F(HistoryLifetime, EndWaitsForTheNightUnderWayAndPlansNoFurther)
{
    Start();
    Notify(Charging);
    CHungMeter hung(*meter);
    time.WorkerClock()->Jump(12h);
    ASSERT_TRUE(hung.Await());

    auto end = std::async(std::launch::async, [this] { component.reset(); });

    EXPECT_EQ(end.wait_for(Watch), std::future_status::timeout);
    hung.GoOn();
    end.get();
    const int readings = meter->Readings();
    time.Advance(48h);
    EXPECT_EQ(meter->Readings(), readings);
}

TEST_F(HistoryLifetime, EndDoesNotWaitForANotificationUnderWayWhichBooksAllTheSame)
{
    Start();
    Notify(Charging);
    Count(70);
    CHungMeter hung(*meter);
    auto notification = std::async(std::launch::async, [this] { Notify(Finishing); });
    ASSERT_TRUE(hung.Await());

    component.reset();
    hung.GoOn();
    notification.get();

    EXPECT_EQ(JsonUtil::ParseObject(File())["HistoryMonth"][0]["Energy"][0], 70);
}

TEST_F(HistoryLifetime, NightlyCallDoesNotKeepItAlive)
{
    auto history = std::make_shared<CEnergyHistory>(
        meter, files.Open("charging_history"), worker, MaxMonths, MaxYears, time.Source());
    history->SetNightlyUpdateCall(true);
    const std::weak_ptr<CEnergyHistory> weak = history;

    history.reset();

    EXPECT_TRUE(weak.expired());
    time.Advance(48h);
}

TEST_F(HistoryLifetime, ReadersDoNotWaitForAMeterThatHangs)
{
    Start();
    Charge(Local(2024, 5, 1, 13), Local(2024, 5, 1, 14), 7);
    CHungMeter hung(*meter);
    auto notification = std::async(std::launch::async, [this] { Notify(Finishing); });
    ASSERT_TRUE(hung.Await());

    auto reading = std::async(std::launch::async, [this] { return component->ReadHistoryStatistics(); });

    EXPECT_EQ(reading.wait_for(TestPatience), std::future_status::ready);
    hung.GoOn();
    notification.get();
    EXPECT_EQ(reading.get()["HistoryMonth"].size(), 1U);
}

TEST_F(HistoryLifetime, ReadersWaitForTheSecondHalfOfABooking)
{
    std::future<Json::Value> reading;
    std::future_status status = std::future_status::deferred;
    Start(files.Open("charging_history",
                     [&](const std::string& key, const Json::Value& /*value*/)
                     {
                         if (key == "HistoryMonth")
                         {
                             reading = std::async(std::launch::async,
                                                  [this] { return component->ReadHistoryStatistics(); });
                             status = reading.wait_for(Watch);
                         }
                     }));

    Charge(Local(2024, 5, 1, 13), Local(2024, 5, 1, 14), 7);

    EXPECT_EQ(status, std::future_status::timeout);
    EXPECT_EQ(reading.get()["HistoryYear"].size(), 1U);
}

TEST_F(HistoryLifetime, ReadersAndNightsMeetSessions)
{
    Start();
    meter->onReading = [this] { meter->SetTotal(1000 + 7 * meter->Readings()); };
    std::atomic<bool> isOver{false};
    std::thread reader(
        [this, &isOver]
        {
            do
            {
                // what is booked is booked in both
                const Json::Value history = component->ReadHistoryStatistics();
                std::int64_t days = 0;
                for (const Json::Value& month : history["HistoryMonth"])
                {
                    for (const Json::Value& energy : month["Energy"])
                    {
                        days += energy.asInt64();
                    }
                }
                std::int64_t months = 0;
                for (const Json::Value& year : history["HistoryYear"])
                {
                    for (const Json::Value& energy : year["Energy"])
                    {
                        months += energy.asInt64();
                    }
                }
                ASSERT_EQ(days, months);
            } while (!isOver.load(std::memory_order_relaxed));
        });
    std::thread notification(
        [this]
        {
            for (int round = 0; round < 50; ++round)
            {
                Notify(Charging);
                Notify(Finishing);
            }
        });
    for (int round = 0; round < 50; ++round)
    {
        time.WorkerClock()->Jump(1h);
        std::this_thread::yield();
    }
    notification.join();
    time.Advance(24h);
    isOver = true;
    reader.join();
    EXPECT_THAT(Months(2024), testing::Not(testing::IsEmpty()));
}
