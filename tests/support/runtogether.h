#pragma once

#include <cstddef>
#include <functional>
#include <thread>
#include <vector>

/// Runs the action for 0 to @p count - 1, each on a thread of its own.
inline void RunTogether(int count, const std::function<void(int number)>& action)
{
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(count));
    for (int number = 0; number < count; ++number)
    {
        threads.emplace_back([&action, number] { action(number); });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
}
