#pragma once

#include <sys/types.h>

/// What Linux says of a process.
namespace ProcessStatus
{

/// Proportional set size in KiB: its own memory and its share of what it has in common with others.
long ProportionalSetKiB(pid_t process);

/// How often its threads have gone to sleep so far; each time they were woken once.
long VoluntarySwitches(pid_t process);

/// Number of its threads.
long Threads(pid_t process);

} // namespace ProcessStatus
