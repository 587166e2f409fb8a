#include "tests/e2e/steppedclock.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <new>
#include <stdexcept>
#include <thread>

#include "tests/support/eventually.h"

using std::chrono::nanoseconds;

namespace
{

/// Far enough from the steady clock's epoch for what was never done to count as done long ago.
constexpr std::chrono::hours SteadyStart{24};

SSteppedTime* MakeFile(const std::string& file)
{
    const int descriptor = open(file.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    void* memory = MAP_FAILED;
    if (ftruncate(descriptor, sizeof(SSteppedTime)) == 0)
    {
        memory = mmap(nullptr, sizeof(SSteppedTime), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    }
    close(descriptor);
    if (memory == MAP_FAILED)
    {
        throw std::runtime_error("no clock in " + file);
    }
    return new (memory) SSteppedTime{};
}

} // namespace

CSteppedClock::CSteppedClock(const std::string& file, Time start)
    : time(MakeFile(file))
{
    time->systemTime = nanoseconds(start.time_since_epoch()).count();
    time->steadyTime = nanoseconds(SteadyStart).count();
    setenv("STATION_TIME", file.c_str(), 1);
}

CSteppedClock::~CSteppedClock()
{
    unsetenv("STATION_TIME");
    munmap(time, sizeof(SSteppedTime));
}

CSteppedClock::Time CSteppedClock::Now() const
{
    return Time(nanoseconds(time->systemTime));
}

void CSteppedClock::Advance(std::chrono::seconds duration)
{
    // threads wake by the second, and then look at the first
    time->systemTime += nanoseconds(duration).count();
    time->steadyTime += nanoseconds(duration).count();
}

bool CSteppedClock::AwaitRest() const
{
    const auto end = std::chrono::steady_clock::now() + TestPatience;
    while (!IsAtRest())
    {
        if (std::chrono::steady_clock::now() > end)
        {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

bool CSteppedClock::IsAtRest() const
{
    const std::size_t count = time->threadCount;
    return std::all_of(time->awaited.begin(),
                       time->awaited.begin() + static_cast<std::ptrdiff_t>(count),
                       [now = time->steadyTime.load()](const std::atomic<std::int64_t>& awaited)
                       { return awaited > now; });
}
