// Stands for the standard library's clocks in the process that it is linked into.
//
// If STATION_TIME names a file with an SSteppedTime, the two clocks of the standard library show what stands
// there, and a wait until a point of the steady clock lasts until the file has come to it. The clocks of the
// C library, by which gRPC goes, run on: a call has its usual time, however far the test steps. No deadline
// of a call comes from the standard library's clocks. Waits for a std::future are not covered.

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>

#include "tests/e2e/steppedtime.h"

namespace
{

constexpr std::int64_t NanosecondsPerSecond = 1'000'000'000;

/// How soon a waiting thread sees a step.
constexpr std::int64_t LookPeriod = 1'000'000;

SSteppedTime* MapSteppedTime()
{
    const char* const file = getenv("STATION_TIME");
    if (file == nullptr)
    {
        return nullptr;
    }
    const int descriptor = open(file, O_RDWR | O_CLOEXEC);
    void* const memory =
        mmap(nullptr, sizeof(SSteppedTime), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    close(descriptor);
    if (memory == MAP_FAILED)
    {
        abort();
    }
    return static_cast<SSteppedTime*>(memory);
}

/// Null if the clocks are the host's.
SSteppedTime* SteppedTime()
{
    static SSteppedTime* const steppedTime = MapSteppedTime();
    return steppedTime;
}

std::int64_t ToNanoseconds(const timespec& time)
{
    return time.tv_sec * NanosecondsPerSecond + time.tv_nsec;
}

timespec ToTimespec(std::int64_t nanoseconds)
{
    return {nanoseconds / NanosecondsPerSecond, nanoseconds % NanosecondsPerSecond};
}

std::int64_t HostTime(clockid_t clock)
{
    timespec time{};
    clock_gettime(clock, &time);
    return ToNanoseconds(time);
}

/// What the present thread waits for, as the test sees it.
class CAwaited
{
public:
    CAwaited() = default;
    ~CAwaited() { Set(SSteppedTime::Never); }
    CAwaited(const CAwaited&) = delete;
    CAwaited& operator=(const CAwaited&) = delete;
    CAwaited(CAwaited&&) = delete;
    CAwaited& operator=(CAwaited&&) = delete;

    /// From the first wait for a time on.
    void Join(SSteppedTime& stepped)
    {
        if (place == nullptr)
        {
            place = &stepped.awaited.at(stepped.threadCount.fetch_add(1));
        }
    }

    /// Nothing before Join.
    void Set(std::int64_t time)
    {
        if (place != nullptr)
        {
            place->store(time);
        }
    }

private:
    std::atomic<std::int64_t>* place = nullptr;
};

thread_local CAwaited awaited;

} // namespace

std::chrono::system_clock::time_point std::chrono::system_clock::now() noexcept
{
    const SSteppedTime* const stepped = SteppedTime();
    const std::int64_t now = stepped != nullptr ? stepped->systemTime.load() : HostTime(CLOCK_REALTIME);
    return time_point(nanoseconds(now));
}

std::chrono::steady_clock::time_point std::chrono::steady_clock::now() noexcept
{
    const SSteppedTime* const stepped = SteppedTime();
    const std::int64_t now = stepped != nullptr ? stepped->steadyTime.load() : HostTime(CLOCK_MONOTONIC);
    return time_point(nanoseconds(now));
}

/// What std::condition_variable waits with until a point of the steady clock.
int pthread_cond_clockwait(pthread_cond_t* condition,
                           pthread_mutex_t* mutex,
                           clockid_t clock,
                           const timespec* deadline)
{
    static const auto hostWait =
        reinterpret_cast<decltype(&pthread_cond_clockwait)>(dlsym(RTLD_NEXT, "pthread_cond_clockwait"));
    SSteppedTime* const stepped = SteppedTime();
    if (stepped == nullptr || clock != CLOCK_MONOTONIC)
    {
        return hostWait(condition, mutex, clock, deadline);
    }
    const std::int64_t time = ToNanoseconds(*deadline);
    awaited.Join(*stepped);
    awaited.Set(time);
    if (stepped->steadyTime.load() < time)
    {
        const timespec nextLook = ToTimespec(HostTime(clock) + LookPeriod);
        hostWait(condition, mutex, clock, &nextLook);
    }
    awaited.Set(SSteppedTime::Past);
    // before the time too the caller has to look what has changed: a notification in between isn't repeated
    return stepped->steadyTime.load() < time ? 0 : ETIMEDOUT;
}

void std::condition_variable::wait(std::unique_lock<std::mutex>& lock) noexcept
{
    awaited.Set(SSteppedTime::Never);
    pthread_cond_wait(native_handle(), lock.mutex()->native_handle());
    awaited.Set(SSteppedTime::Past);
}
