#include "src/signalslot.h"

#include <csignal>
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

class SignalSlotTest : public testing::Test
{
protected:
    ~SignalSlotTest() override
    {
        SignalSlot::Install({});
        SignalSlot::Remove();
    }
};

using SignalSlotDeathTest = SignalSlotTest;

} // namespace

TEST_F(SignalSlotTest, HandsEachSigintToTheCallableAsItsNumber)
{
    int calls = 0;
    int received = 0;
    SignalSlot::Install(
        [&](int number)
        {
            ++calls;
            received = number;
        });

    std::raise(SIGINT);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(received, 2);

    std::raise(SIGINT);
    EXPECT_EQ(calls, 2);
}

TEST_F(SignalSlotTest, InstallDestroysTheFormerCallable)
{
    auto held = std::make_shared<int>(0);
    const std::weak_ptr<int> former = held;
    SignalSlot::Install([held](int) { ++*held; });
    held.reset();
    ASSERT_FALSE(former.expired());

    int calls = 0;
    SignalSlot::Install([&calls](int) { ++calls; });
    EXPECT_TRUE(former.expired());

    std::raise(SIGINT);
    EXPECT_EQ(calls, 1);
}

TEST_F(SignalSlotTest, EmptyCallableLeavesASigintWithoutEffect)
{
    int calls = 0;
    SignalSlot::Install([&calls](int) { ++calls; });
    SignalSlot::Install({});

    std::raise(SIGINT);
    EXPECT_EQ(calls, 0);
}

TEST_F(SignalSlotDeathTest, RemoveGivesSigintItsDefaultEffect)
{
    const auto interruptAfterRemove = []
    {
        SignalSlot::Install([](int) {});
        SignalSlot::Remove();
        std::raise(SIGINT);
    };

    EXPECT_EXIT(interruptAfterRemove(), testing::KilledBySignal(SIGINT), "");
}
