#pragma once

#include <time.h>

#include <chrono>

/// The parts of a time by the process's time zone, TZ or else /etc/localtime as it is now. Threads: any.
tm LocalTime(std::chrono::system_clock::time_point time);
