#include "tests/support/capturedconsole.h"

#include "platform/log/log.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/ostream_sink.h>

CCapturedConsole::CCapturedConsole()
    : wasEnabled(Log::mConsoleLoggingEnabled)
    , formerSinks(Log::mConsoleSink->sinks())
{
    const auto sink = std::make_shared<spdlog::sinks::ostream_sink_mt>(stream);
    sink->set_pattern("%v");
    Log::mConsoleSink->sinks().assign({sink});
    Log::EnableConsoleLogging(true);
}

CCapturedConsole::~CCapturedConsole()
{
    Log::EnableConsoleLogging(wasEnabled);
    Log::mConsoleSink->sinks() = formerSinks;
}
