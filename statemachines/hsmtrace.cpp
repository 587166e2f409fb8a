#include "statemachines/hsmtrace.h"

#include "platform/log/log.h"

namespace HsmTrace
{

void Init(std::string_view machine)
{
    LOG_PLAIN(Log::ELogLevel::Trace, "State {}: init", machine);
}

void Entry(std::string_view leaf)
{
    LOG_PLAIN(Log::ELogLevel::Trace, "State {}: entry", leaf);
}

void Exit(std::string_view leaf)
{
    LOG_PLAIN(Log::ELogLevel::Trace, "State {}: exit", leaf);
}

void Received(std::string_view leaf, std::string_view event)
{
    LOG_PLAIN(Log::ELogLevel::Trace, "State {}: event recv {}", leaf, event);
}

void Handled(std::string_view state, std::string_view event)
{
    LOG_PLAIN(Log::ELogLevel::Trace, "State {}: event hndl {}", state, event);
}

void Unhandled(std::string_view composite, std::string_view event)
{
    LOG_PLAIN(Log::ELogLevel::Trace, "State {}: event unhn {}", composite, event);
}

} // namespace HsmTrace
