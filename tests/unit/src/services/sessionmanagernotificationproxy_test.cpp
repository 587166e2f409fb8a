#include "src/services/sessionmanagernotificationproxy.h"

#include <cstddef>
#include <functional>
#include <future>
#include <memory>
#include <memory_resource>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/mockservices.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StrictMock;
using Listener = CSessionManagerNotificationProxy::Listener;

namespace
{

ipc::MConnectorState State(int number)
{
    ipc::MConnectorState message;
    message.set_state(static_cast<ipc::EConnectorState>(number));
    return message;
}

/// Memory that knows whether it is in use.
class CCountedMemory : public std::pmr::memory_resource
{
public:
    int blocks = 0;

private:
    void* do_allocate(std::size_t bytes, std::size_t alignment) override
    {
        ++blocks;
        return std::pmr::new_delete_resource()->allocate(bytes, alignment);
    }

    void do_deallocate(void* block, std::size_t bytes, std::size_t alignment) override
    {
        --blocks;
        std::pmr::new_delete_resource()->deallocate(block, bytes, alignment);
    }

    bool do_is_equal(const memory_resource& other) const noexcept override { return this == &other; }
};

class SessionManagerNotificationProxy : public testing::Test
{
protected:
    /// Adds a listener that notes its name and what it hears.
    std::shared_ptr<Listener> Add(const std::string& name)
    {
        auto listener = std::make_shared<Listener>(
            [this, name](const ipc::MConnectorState& message)
            { heard.push_back(name + std::to_string(static_cast<int>(message.state()))); });
        proxy->AddListener(listener);
        return listener;
    }

    void Notify(int number) { service->ConnectorState(State(number)); }

    std::vector<std::string> heard;
    const std::shared_ptr<StrictMock<CMockSessionManager>> service =
        std::make_shared<StrictMock<CMockSessionManager>>();
    std::unique_ptr<CSessionManagerNotificationProxy> proxy =
        std::make_unique<CSessionManagerNotificationProxy>(service);
};

} // namespace

TEST_F(SessionManagerNotificationProxy, HandsEachStateToTheListenersInTheirOrder)
{
    const auto c = Add("c");
    const auto a = Add("a");
    const auto b = Add("b");
    Notify(11);
    Notify(9);
    EXPECT_THAT(heard, ElementsAre("c11", "a11", "b11", "c9", "a9", "b9"));
}

TEST_F(SessionManagerNotificationProxy, PassesOnStatesWithoutAName)
{
    const auto a = Add("a");
    Notify(13);
    Notify(-1);
    EXPECT_THAT(heard, ElementsAre("a13", "a-1"));
}

TEST_F(SessionManagerNotificationProxy, DropsWhatComesWithoutAListener)
{
    Notify(11);
    const auto a = Add("a");
    EXPECT_THAT(heard, IsEmpty());
}

TEST_F(SessionManagerNotificationProxy, HoldsListenersWeakly)
{
    auto a = Add("a");
    const std::weak_ptr<Listener> weak = a;
    a.reset();
    EXPECT_TRUE(weak.expired());
    Notify(11);
    EXPECT_THAT(heard, IsEmpty());
}

TEST_F(SessionManagerNotificationProxy, ForgetsADroppedListenerAtTheNextNotification)
{
    CCountedMemory memory;
    auto dropped = std::allocate_shared<Listener>(std::pmr::polymorphic_allocator<Listener>(&memory));
    proxy->AddListener(dropped);
    dropped.reset();
    // the weak reference in the list holds it
    ASSERT_EQ(memory.blocks, 1);
    Notify(1);
    EXPECT_EQ(memory.blocks, 0);
}

TEST_F(SessionManagerNotificationProxy, KeepsTheOrderOfTheRestWhenListenersGo)
{
    auto a = Add("a");
    const auto b = Add("b");
    auto c = Add("c");
    auto d = Add("d");
    const auto e = Add("e");
    auto f = Add("f");
    a.reset();
    c.reset();
    d.reset();
    f.reset();
    Notify(1);
    EXPECT_THAT(heard, ElementsAre("b1", "e1"));
    const auto g = Add("g");
    Notify(2);
    EXPECT_THAT(heard, ElementsAre("b1", "e1", "b2", "e2", "g2"));
}

TEST_F(SessionManagerNotificationProxy, SkipsAListenerThatGoesDuringTheNotification)
{
    std::shared_ptr<Listener> second;
    const auto first = std::make_shared<Listener>([&second](const ipc::MConnectorState&) { second.reset(); });
    proxy->AddListener(first);
    second = Add("second");
    const auto third = Add("third");
    Notify(1);
    EXPECT_THAT(heard, ElementsAre("third1"));
}

TEST_F(SessionManagerNotificationProxy, KeepsAListenerAliveWhileItRuns)
{
    std::shared_ptr<Listener> listener;
    auto owned = std::make_shared<std::string>("still there");
    listener = std::make_shared<Listener>(
        [this, &listener, owned = std::move(owned)](const ipc::MConnectorState&)
        {
            listener.reset();
            heard.push_back(*owned);
        });
    proxy->AddListener(listener);
    Notify(1);
    Notify(2);
    EXPECT_THAT(heard, ElementsAre("still there"));
}

TEST_F(SessionManagerNotificationProxy, EndsANotificationAtAListenerThatThrows)
{
    const auto a = Add("a");
    auto throws =
        std::make_shared<Listener>([](const ipc::MConnectorState&) { throw std::runtime_error("refused"); });
    proxy->AddListener(throws);
    const auto b = Add("b");

    EXPECT_THROW(Notify(1), std::runtime_error);
    EXPECT_THAT(heard, ElementsAre("a1"));

    // for that message only
    throws.reset();
    Notify(2);
    EXPECT_THAT(heard, ElementsAre("a1", "a2", "b2"));
}

TEST_F(SessionManagerNotificationProxy, ThrowsForAnEmptyListener)
{
    const auto empty = std::make_shared<Listener>();
    proxy->AddListener(empty);
    const auto a = Add("a");
    EXPECT_THROW(Notify(1), std::bad_function_call);
    EXPECT_THAT(heard, IsEmpty());
}

TEST_F(SessionManagerNotificationProxy, DropsWhatComesWhenItIsGone)
{
    const auto a = Add("a");
    proxy.reset();
    Notify(1);
    EXPECT_THAT(heard, IsEmpty());
}

TEST_F(SessionManagerNotificationProxy, LetsANotificationUnderWayEndWhenItGoes)
{
    std::promise<void> hasBegun;
    std::promise<void> letGo;
    const auto slow = std::make_shared<Listener>(
        [&](const ipc::MConnectorState&)
        {
            hasBegun.set_value();
            letGo.get_future().wait();
        });
    proxy->AddListener(slow);
    const auto a = Add("a");

    std::thread notification([this] { Notify(1); });
    hasBegun.get_future().wait();
    proxy.reset();
    letGo.set_value();
    notification.join();

    EXPECT_THAT(heard, ElementsAre("a1"));
}
