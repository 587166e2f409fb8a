// Loaded into a process before the C library, this answers for the kernel whether the time is synchronised:
// yes if TIME_IS_SYNCHRONISED is set, else no.

#include <sys/timex.h>

#include <cstdlib>

extern "C" int adjtimex(timex* request) noexcept
{
    const bool isSynchronised = std::getenv("TIME_IS_SYNCHRONISED") != nullptr;
    request->status = isSynchronised ? 0 : STA_UNSYNC;
    return isSynchronised ? TIME_OK : TIME_ERROR;
}
