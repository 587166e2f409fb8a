#pragma once

#include "platform/rpc/logger.h"

namespace Rpc
{

/// The transport's lines in the process log, as "[RPC] TEXT". Threads: any.
class TarnLogger : public ILogger
{
public:
    void Critical(const std::string& text) override;
    void Error(const std::string& text) override;
    void Warning(const std::string& text) override;
    void Info(const std::string& text) override;
    void Debug(const std::string& text) override;
    void Trace(const std::string& text) override;
};

} // namespace Rpc
