#include "src/session/session.h"

#include <limits>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/manualsystemclock.h"

using std::chrono::hours;
using std::chrono::nanoseconds;
using std::chrono::seconds;

namespace
{

using Time = std::chrono::system_clock::time_point;

const Time Noon{seconds(1714564800)};
constexpr std::uint64_t Longest = std::numeric_limits<std::uint64_t>::max();

class Session : public testing::Test
{
protected:
    CSession Make(std::uint64_t timeout, bool persistent = false) const
    {
        return {"key", timeout, persistent, clock.Source()};
    }

    CManualSystemClock clock{Noon};
};

} // namespace

TEST_F(Session, TellsWhatItWasMadeOf)
{
    EXPECT_EQ(Make(900).GetKey(), "key");
    EXPECT_FALSE(Make(900, false).IsPersistent());
    EXPECT_TRUE(Make(900, true).IsPersistent());
}

TEST_F(Session, LivesForItsTimeout)
{
    const CSession session = Make(900);
    EXPECT_EQ(session.GetExpiry(), Noon + seconds(900));
    EXPECT_FALSE(session.IsExpired());

    clock.Advance(seconds(900));
    EXPECT_FALSE(session.IsExpired());

    clock.Advance(nanoseconds(1));
    EXPECT_TRUE(session.IsExpired());
}

TEST_F(Session, LivesForItsTimeoutFromEachRefresh)
{
    CSession session = Make(900);

    clock.Advance(seconds(899));
    session.Refresh();
    EXPECT_EQ(session.GetExpiry(), Noon + seconds(899 + 900));

    clock.Advance(hours(1));
    session.Refresh();
    EXPECT_FALSE(session.IsExpired());
    EXPECT_EQ(session.GetExpiry(), Noon + seconds(899 + 3600 + 900));
}

TEST_F(Session, EndsWithTheInstantInWhichItIsMadeToExpire)
{
    CSession session = Make(900);
    clock.Advance(seconds(10));

    session.Expire();

    EXPECT_EQ(session.GetExpiry(), Noon + seconds(10));
    EXPECT_FALSE(session.IsExpired());
    clock.Advance(nanoseconds(1));
    EXPECT_TRUE(session.IsExpired());
}

TEST_F(Session, WithATimeoutBeyondTheClockLastsAsLongAsTheClock)
{
    CSession session = Make(Longest);
    EXPECT_EQ(session.GetExpiry(), Time::max());

    clock.Advance(hours(1));
    session.Refresh();
    EXPECT_EQ(session.GetExpiry(), Time::max());
    EXPECT_FALSE(session.IsExpired());
}

TEST_F(Session, IsRenewedByManyThreadsAtOnce)
{
    constexpr int Threads = 4;
    // seconds, fewer than the session lives
    constexpr int Rounds = 800;
    CSession session = Make(900);
    std::vector<std::thread> threads;
    for (int i = 0; i < Threads; ++i)
    {
        threads.emplace_back(
            [&]
            {
                for (int round = 0; round < Rounds; ++round)
                {
                    clock.Set(Noon + seconds(round));
                    session.Refresh();
                    EXPECT_GE(session.GetExpiry(), Noon + seconds(900));
                    EXPECT_FALSE(session.IsExpired());
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
}

TEST(TimeAfter, AddsSeconds)
{
    EXPECT_EQ(TimeAfter(Noon, 0), Noon);
    EXPECT_EQ(TimeAfter(Noon + nanoseconds(5), 315360000), Noon + seconds(315360000) + nanoseconds(5));
    EXPECT_EQ(TimeAfter(Time(), 1714564800), Noon);
}

TEST(TimeAfter, StopsAtTheLastTimeOfTheClock)
{
    // the clock ends 854775807 nanoseconds after this second
    constexpr std::uint64_t LastSecond = 9223372036;
    EXPECT_EQ(TimeAfter(Time(), LastSecond), Time(seconds(LastSecond)));
    EXPECT_EQ(TimeAfter(Time(), LastSecond + 1), Time::max());
    EXPECT_EQ(TimeAfter(Time(), Longest), Time::max());
    EXPECT_EQ(TimeAfter(Time(seconds(-1)), Longest), Time::max());
    EXPECT_EQ(TimeAfter(Time::max(), 1), Time::max());
}
