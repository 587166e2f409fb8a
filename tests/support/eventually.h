#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

/// How long a test waits for what must happen before it fails.
constexpr std::chrono::seconds TestPatience{20};

/// Looks again and again, for what nobody tells of. @return whether the condition came true
template <class Condition>
bool Eventually(Condition condition)
{
    const auto end = std::chrono::steady_clock::now() + TestPatience;
    while (!condition())
    {
        if (std::chrono::steady_clock::now() > end)
        {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

/// Values that another thread hands over, in order. Threads: any.
template <class T>
class CCollector
{
public:
    void Add(T value)
    {
        const std::lock_guard lock(mutex);
        values.push_back(std::move(value));
        changed.notify_all();
    }

    /// Waits until there are at least @p count values, or patience is out. @return all that there are
    std::vector<T> Await(std::size_t count, std::chrono::milliseconds patience = TestPatience)
    {
        std::unique_lock lock(mutex);
        changed.wait_for(lock, patience, [&] { return values.size() >= count; });
        return values;
    }

    /// Waits until one value fulfils @p condition. @return whether one did
    template <class Condition>
    bool AwaitAny(Condition condition, std::chrono::milliseconds patience = TestPatience)
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock,
                                patience,
                                [&]
                                {
                                    for (const T& value : values)
                                    {
                                        if (condition(value))
                                        {
                                            return true;
                                        }
                                    }
                                    return false;
                                });
    }

private:
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<T> values;
};
