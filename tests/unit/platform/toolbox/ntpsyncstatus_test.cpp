#include "platform/toolbox/ntpsyncstatus.h"

#include <sys/timex.h>
#include <time.h>

#include <functional>

#include <gtest/gtest.h>

using Toolbox::IsSynchronised;

TEST(NtpSyncStatus, HoldsInEveryStateOfTheClockButError)
{
    for (const int state : {TIME_OK, TIME_INS, TIME_DEL, TIME_OOP, TIME_WAIT})
    {
        EXPECT_TRUE(IsSynchronised(state, STA_PLL)) << state;
    }
    EXPECT_FALSE(IsSynchronised(TIME_ERROR, STA_PLL));
}

TEST(NtpSyncStatus, DoesNotHoldWhileTheClockIsMarkedUnsynchronised)
{
    EXPECT_FALSE(IsSynchronised(TIME_OK, STA_UNSYNC));
    EXPECT_FALSE(IsSynchronised(TIME_INS, STA_UNSYNC | STA_PLL));
}

TEST(NtpSyncStatus, DoesNotHoldWhenTheKernelDoesNotTell)
{
    EXPECT_FALSE(IsSynchronised(-1, 0));
}

TEST(NtpSyncStatus, IsTheKernelsAndCanBeHandedOnAsAFunction)
{
    timex request{};
    const int state = clock_adjtime(CLOCK_REALTIME, &request);
    const std::function<bool()> isTimeSynced = Toolbox::GetNtpSyncStatus;

    EXPECT_EQ(isTimeSynced(), IsSynchronised(state, request.status));
}
