#pragma once

#include <sys/types.h>

/// What Linux says of a process.
namespace ProcessStatus
{

/// Proportional set size in KiB: its own memory and its share of what it has in common with others.
long ProportionalSetKiB(pid_t process);

/// Resident set size in KiB, and the largest that it has been since ForgetPeak.
long ResidentKiB(pid_t process);
long PeakResidentKiB(pid_t process);

/// From now on the peak is looked for.
void ForgetPeak(pid_t process);

/// How often its threads have gone to sleep so far; each time they were woken once.
long VoluntarySwitches(pid_t process);

/// Number of its threads.
long Threads(pid_t process);

} // namespace ProcessStatus
