#include "src/signalslot.h"

#include <csignal>
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

void Install(std::function<void(int)> callable)
{
    SignalSlot::Fill(std::move(callable));
    SignalSlot::Install();
}

class SignalSlotTest : public testing::Test
{
protected:
    ~SignalSlotTest() override
    {
        Install({});
        SignalSlot::Remove();
    }
};

using SignalSlotDeathTest = SignalSlotTest;

} // namespace

TEST_F(SignalSlotTest, HandsEachSigintToTheCallableAsItsNumber)
{
    int calls = 0;
    int received = 0;
    Install(
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
    Install([held](int) { ++*held; });
    held.reset();
    ASSERT_FALSE(former.expired());

    int calls = 0;
    Install([&calls](int) { ++calls; });
    EXPECT_TRUE(former.expired());

    std::raise(SIGINT);
    EXPECT_EQ(calls, 1);
}

TEST_F(SignalSlotTest, EmptyCallableLeavesASigintWithoutEffect)
{
    int calls = 0;
    Install([&calls](int) { ++calls; });
    Install({});

    std::raise(SIGINT);
    EXPECT_EQ(calls, 0);
}

TEST_F(SignalSlotDeathTest, RemoveGivesSigintItsDefaultEffect)
{
    const auto interruptAfterRemove = []
    {
        Install([](int) {});
        SignalSlot::Remove();
        std::raise(SIGINT);
    };

    EXPECT_EXIT(interruptAfterRemove(), testing::KilledBySignal(SIGINT), "");
}
