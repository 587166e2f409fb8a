#include "platform/rpc/tarnlogger.h"

#include "platform/log/log.h"

namespace Rpc
{

void TarnLogger::Critical(const std::string& text)
{
    LOG_PLAIN(Log::ELogLevel::Critical, "[RPC] {}", text);
}

void TarnLogger::Error(const std::string& text)
{
    LOG_PLAIN(Log::ELogLevel::Error, "[RPC] {}", text);
}

void TarnLogger::Warning(const std::string& text)
{
    LOG_PLAIN(Log::ELogLevel::Warn, "[RPC] {}", text);
}

void TarnLogger::Info(const std::string& text)
{
    LOG_PLAIN(Log::ELogLevel::Info, "[RPC] {}", text);
}

void TarnLogger::Debug(const std::string& text)
{
    LOG_PLAIN(Log::ELogLevel::Debug, "[RPC] {}", text);
}

void TarnLogger::Trace(const std::string& text)
{
    LOG_PLAIN(Log::ELogLevel::Trace, "[RPC] {}", text);
}

} // namespace Rpc
