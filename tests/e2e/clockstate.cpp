// Stands for the system's call in the process that it is linked into: its clock is synchronised while the
// file exists that STATION_CLOCK names, whatever the host's clock is.

#include <stdlib.h>
#include <sys/timex.h>
#include <unistd.h>

int adjtimex(timex* request) noexcept
{
    const char* file = getenv("STATION_CLOCK");
    const bool isSynchronised = file != nullptr && access(file, F_OK) == 0;
    request->status = isSynchronised ? STA_PLL : STA_UNSYNC;
    return isSynchronised ? TIME_OK : TIME_ERROR;
}
