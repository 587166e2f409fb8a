#include "platform/rpc/notification.h"

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>

#include <gtest/gtest.h>

using Notification = Rpc::CNotification<std::string>;

TEST(Notification, WithoutReceiverDropsWhatArrives)
{
    Notification notification;

    notification("token");
    notification = nullptr;
    notification("token");
}

TEST(Notification, TheLastReceiverAssignedGetsIt)
{
    Notification notification;
    std::string first;
    std::string second;

    notification = [&](const std::string& text) { first = text; };
    notification("a");
    notification = [&](const std::string& text) { second = text; };
    notification("b");

    EXPECT_EQ(first, "a");
    EXPECT_EQ(second, "b");
}

TEST(Notification, WhatTheReceiverThrowsReachesTheCaller)
{
    Notification notification;
    notification = [](const std::string&) { throw std::runtime_error("no"); };

    EXPECT_THROW(notification("a"), std::runtime_error);
}

TEST(Notification, ReceiverMayReplaceItself)
{
    Notification notification;
    int calls = 0;
    notification = [&](const std::string&)
    {
        ++calls;
        notification = nullptr;
    };

    notification("a");
    notification("b");

    EXPECT_EQ(calls, 1);
}

TEST(Notification, MayBeAssignedWhileItDelivers)
{
    Notification notification;
    std::atomic<int> delivered{0};
    notification = [&](const std::string&) { ++delivered; };
    std::thread deliverer(
        [&]
        {
            for (int round = 0; round < 1000; ++round)
            {
                notification("a");
            }
        });
    for (int round = 0; round < 1000; ++round)
    {
        notification = [&](const std::string&) { ++delivered; };
    }
    deliverer.join();

    EXPECT_EQ(delivered, 1000);
}
