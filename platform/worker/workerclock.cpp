#include "platform/worker/workerclock.h"

#include <condition_variable>
#include <mutex>

namespace
{

class CSteadyWorkerClock : public IWorkerClock
{
public:
    std::chrono::steady_clock::time_point Now() const override { return std::chrono::steady_clock::now(); }

    void SleepUntil(std::optional<std::chrono::steady_clock::time_point> time) override
    {
        std::unique_lock lock(mutex);
        const auto isWoken = [this] { return woken; };
        if (time)
        {
            condition.wait_until(lock, *time, isWoken);
        }
        else
        {
            condition.wait(lock, isWoken);
        }
        woken = false;
    }

    void Wake() override
    {
        {
            const std::lock_guard lock(mutex);
            woken = true;
        }
        condition.notify_one();
    }

private:
    std::condition_variable condition;
    std::mutex mutex;

    // Guarded by mutex
    bool woken = false;
};

} // namespace

std::shared_ptr<IWorkerClock> CreateSteadyWorkerClock()
{
    return std::make_shared<CSteadyWorkerClock>();
}
