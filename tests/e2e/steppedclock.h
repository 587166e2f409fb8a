#pragma once

#include <chrono>
#include <string>

#include "tests/e2e/steppedtime.h"

/// The clock of the webbackend_with_clock_state processes that are started while the object lives: it stands
/// still until the test moves it. Threads: one.
class CSteppedClock
{
public:
    using Time = std::chrono::system_clock::time_point;

    /// @param file   holds the clock
    /// @param start  before the host's time, since a server that ends compares the two
    CSteppedClock(const std::string& file, Time start);
    ~CSteppedClock();
    CSteppedClock(const CSteppedClock&) = delete;
    CSteppedClock& operator=(const CSteppedClock&) = delete;
    CSteppedClock(CSteppedClock&&) = delete;
    CSteppedClock& operator=(CSteppedClock&&) = delete;

    Time Now() const;
    void Advance(std::chrono::seconds duration);

    /// Waits until every thread of the process that goes by the clock has done all that is due, and waits for
    /// a later time.
    /// @return false if they don't come to rest in time
    bool AwaitRest() const;

private:
    bool IsAtRest() const;

    // Constant after construction
    SSteppedTime* const time;
};
