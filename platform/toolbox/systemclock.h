#pragma once

#include <chrono>
#include <functional>

namespace Toolbox
{

/// Where a class takes the time of day from: the system's clock, or a test's own.
/// Threads: any, several at the same time.
using SystemClock = std::function<std::chrono::system_clock::time_point()>;

} // namespace Toolbox
