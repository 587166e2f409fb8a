#include "platform/toolbox/ntpsyncstatus.h"

#include <sys/timex.h>

namespace Toolbox
{

bool GetNtpSyncStatus()
{
    // no modes: only asked, nothing adjusted
    timex request{};
    const int clockState = adjtimex(&request);
    return IsSynchronised(clockState, request.status);
}

bool IsSynchronised(int clockState, int clockStatus)
{
    return clockState >= 0 && clockState != TIME_ERROR && (clockStatus & STA_UNSYNC) == 0;
}

} // namespace Toolbox
