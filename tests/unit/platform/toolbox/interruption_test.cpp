#include "platform/toolbox/interruption.h"

#include <optional>

#include <gtest/gtest.h>

namespace
{

using Toolbox::CInterruption;

class Interruption : public testing::Test
{
protected:
    CInterruption interruption;
    int ended = 0;
};

TEST_F(Interruption, EndsWhatIsHeldOnce)
{
    const CInterruption::CHold hold(interruption, [this] { ++ended; });
    EXPECT_EQ(ended, 0);
    EXPECT_FALSE(interruption.IsInterrupted());

    interruption.Interrupt();
    interruption.Interrupt();

    EXPECT_EQ(ended, 1);
    EXPECT_TRUE(interruption.IsInterrupted());
}

TEST_F(Interruption, EndsWhatComesWhileItLasts)
{
    interruption.Interrupt();
    const CInterruption::CHold first(interruption, [this] { ++ended; });
    EXPECT_EQ(ended, 1);

    interruption.Resume();
    const CInterruption::CHold second(interruption, [this] { ++ended; });
    EXPECT_EQ(ended, 1);
    EXPECT_FALSE(interruption.IsInterrupted());
}

TEST_F(Interruption, LeavesAloneWhatHasGone)
{
    std::optional<CInterruption::CHold> first;
    first.emplace(interruption, [this] { ended += 1; });
    const CInterruption::CHold second(interruption, [this] { ended += 10; });
    first.reset();

    interruption.Interrupt();

    EXPECT_EQ(ended, 10);
}

} // namespace
