#pragma once

#include "platform/rpc/logger.h"

#include <memory>

namespace Rpc
{

/// Takes over the logger of the transport and of the library below it. Threads: before any transport exists.
void SetTransportLog(std::shared_ptr<ILogger> logger);

/// Where the transport logs; drops everything until a logger is set. Threads: any.
ILogger& TransportLog();

} // namespace Rpc
