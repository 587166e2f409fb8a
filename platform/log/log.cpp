#include "platform/log/log.h"

#include "platform/log/logconfig.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/stdout_color_sinks.h>
#include <spdlog/sinks/syslog_sink.h>

#include <cxxabi.h>
#include <syslog.h>

#include <cstdlib>

/// Format and arguments of a statement, handed through to the loggers so that each formats for itself.
struct SStatement
{
    fmt::string_view format;
    fmt::format_args arguments;
};

template <>
struct fmt::formatter<SStatement>
{
    static constexpr auto parse(format_parse_context& context) { return context.begin(); }

    static auto format(const SStatement& statement, format_context& context)
    {
        return fmt::vformat_to(context.out(), statement.format, statement.arguments);
    }
};

namespace Log
{

namespace
{

constexpr int AboveAllLevels = 6;

spdlog::level::level_enum ToSpdlog(int level)
{
    return static_cast<spdlog::level::level_enum>(level);
}

class CLogConfig : public ILogConfig
{
public:
    bool SetLogLevel(int level) override
    {
        if (level < static_cast<int>(ELogLevel::Trace) || level > static_cast<int>(ELogLevel::Critical))
        {
            return false;
        }
        Log::SetLogLevel(static_cast<ELogLevel>(level));
        return true;
    }

    int GetLogLevel() const override { return static_cast<int>(Log::GetLogLevel()); }
};

} // namespace

std::shared_ptr<spdlog::logger> mSyslogSink;
std::shared_ptr<spdlog::logger> mConsoleSink;
std::atomic<bool> mConsoleLoggingEnabled{true};

namespace Detail
{

std::atomic<int> threshold{AboveAllLevels};

void WriteFormatted(int level, fmt::string_view format, fmt::format_args arguments)
{
    const SStatement statement{format, arguments};
    mSyslogSink->log(ToSpdlog(level), "{}", statement);
    if (mConsoleLoggingEnabled.load(std::memory_order_relaxed))
    {
        mConsoleSink->log(ToSpdlog(level), "{}", statement);
    }
}

std::string ReadableName(const char* typeName)
{
    const std::unique_ptr<char, decltype(&std::free)> name(Demangle(typeName), &std::free);
    return name ? name.get() : "";
}

} // namespace Detail

void Init(const std::string& name, ELogLevel level)
{
    constexpr bool withFormatting = false;
    mSyslogSink = std::make_shared<spdlog::logger>(
        name, std::make_shared<spdlog::sinks::syslog_sink_mt>(name, LOG_PID, LOG_DAEMON, withFormatting));
    mConsoleSink =
        std::make_shared<spdlog::logger>(name, std::make_shared<spdlog::sinks::stderr_color_sink_mt>());
    mConsoleSink->set_pattern("%Y-%m-%d %H:%M:%S.%e %^%-8l%$ [%t] %v");
    SetLogLevel(level);
}

void SetLogLevel(ELogLevel level)
{
    mSyslogSink->set_level(ToSpdlog(static_cast<int>(level)));
    mConsoleSink->set_level(ToSpdlog(static_cast<int>(level)));
    Detail::threshold.store(static_cast<int>(level), std::memory_order_relaxed);
}

ELogLevel GetLogLevel()
{
    return static_cast<ELogLevel>(Detail::threshold.load(std::memory_order_relaxed));
}

ELogLevel GetLowerLogLevel(ELogLevel level)
{
    return level == ELogLevel::Trace ? level : static_cast<ELogLevel>(static_cast<int>(level) - 1);
}

void EnableConsoleLogging(bool enable)
{
    mConsoleLoggingEnabled.store(enable, std::memory_order_relaxed);
}

char* Demangle(const char* typeName)
{
    int status = 0;
    return abi::__cxa_demangle(typeName, nullptr, nullptr, &status);
}

std::shared_ptr<ILogConfig> CreateLogConfigService()
{
    return std::make_shared<CLogConfig>();
}

} // namespace Log
