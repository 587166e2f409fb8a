/// Offers the log level to other processes, as "WebbackendLog".
#pragma once

#include "platform/log/logconfig.h"
#include "platform/rpc/client.h"

template <>
std::unique_ptr<Rpc::IOfferedService>
Rpc::MakeOfferedService<ILogConfig>(const std::shared_ptr<ILogConfig>& object);
