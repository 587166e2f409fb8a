#pragma once

namespace Toolbox
{

/// Whether the system's time is synchronised with a time server, by the kernel's account; false when it can't
/// be told.
///
/// Threads: any.
bool GetNtpSyncStatus();

/// The same for an answer of the kernel.
/// @param clockState what adjtimex returned
/// @param clockStatus the status bits that it gave
bool IsSynchronised(int clockState, int clockStatus);

} // namespace Toolbox
