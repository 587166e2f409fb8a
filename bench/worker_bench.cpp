#include "platform/worker/worker.h"

#include <condition_variable>
#include <mutex>

#include <benchmark/benchmark.h>

namespace
{

/// From the request of a call until the caller knows that it ran: two changes of thread.
void CallLatency(benchmark::State& state)
{
    CWorker worker;
    worker.Start();
    std::mutex mutex;
    std::condition_variable changed;
    bool ran = false;
    for (auto _ : state)
    {
        worker.NonBlockingCall(
            [&]
            {
                const std::lock_guard lock(mutex);
                ran = true;
                changed.notify_one();
            });
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return ran; });
        ran = false;
    }
}
BENCHMARK(CallLatency)->UseRealTime();

/// The same change of thread and back with nothing but a mutex and a condition.
void BareHandOver(benchmark::State& state)
{
    std::mutex mutex;
    std::condition_variable changed;
    enum class ETurn
    {
        Caller,
        Thread,
        End
    };
    ETurn turn = ETurn::Caller;
    std::thread thread(
        [&]
        {
            std::unique_lock lock(mutex);
            while (turn != ETurn::End)
            {
                changed.wait(lock, [&] { return turn != ETurn::Caller; });
                if (turn == ETurn::Thread)
                {
                    turn = ETurn::Caller;
                    changed.notify_all();
                }
            }
        });
    for (auto _ : state)
    {
        std::unique_lock lock(mutex);
        turn = ETurn::Thread;
        changed.notify_all();
        changed.wait(lock, [&] { return turn == ETurn::Caller; });
    }
    {
        const std::lock_guard lock(mutex);
        turn = ETurn::End;
    }
    changed.notify_all();
    thread.join();
}
BENCHMARK(BareHandOver)->UseRealTime();

} // namespace
