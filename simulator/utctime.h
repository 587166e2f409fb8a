#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace Simulator
{

/// Where an object takes the time of day from.
using UtcSource = std::function<std::chrono::system_clock::time_point()>;

/// e.g. "2024-05-01T12:00:00.250Z"
std::string ToIsoText(std::chrono::system_clock::time_point time);

/// For file names, e.g. "2024-05-01T120000"
std::string ToFileNameText(std::chrono::system_clock::time_point time);

} // namespace Simulator
