#pragma once

#include "platform/rpc/interface.h"

#include <string>

namespace Rpc
{

/// Where the transport writes its log lines. Threads: any.
class ILogger : public CInterface
{
public:
    virtual void Critical(const std::string& text) = 0;
    virtual void Error(const std::string& text) = 0;
    virtual void Warning(const std::string& text) = 0;
    virtual void Info(const std::string& text) = 0;
    virtual void Debug(const std::string& text) = 0;
    virtual void Trace(const std::string& text) = 0;
};

} // namespace Rpc
