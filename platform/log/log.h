/// The log of a station process.
///
/// Statements are the macros LOG_TRACE to LOG_CRITICAL, LOG_ENTRY and LOG_PLAIN. Each goes to the system log
/// and, if console logging is on, to the console (standard error), with {} formatting checked at compile
/// time. A statement below the threshold costs one comparison: its arguments are not evaluated. Threads:
/// statements, SetLogLevel and EnableConsoleLogging from any once Init has returned; Init before others log.
#pragma once

#include "platform/log/logdetail.h"

#include <atomic>
#include <memory>
#include <string>

namespace spdlog
{
class logger;
}

class ILogConfig;

namespace Log
{

enum class ELogLevel : int
{
    Trace = 0,
    Debug = 1,
    Info = 2,
    Warn = 3,
    Error = 4,
    Critical = 5
};

/// The two loggers, null until Init. Tests replace their sinks.
extern std::shared_ptr<spdlog::logger> mSyslogSink;
extern std::shared_ptr<spdlog::logger> mConsoleSink;

/// Whether statements go to the console too; true from the start.
extern std::atomic<bool> mConsoleLoggingEnabled;

/// Opens the log under the tag @p name. Without it statements are dropped.
void Init(const std::string& name, ELogLevel level);

/// Sets the threshold of both sinks.
void SetLogLevel(ELogLevel level);
ELogLevel GetLogLevel();

/// The next more detailed level; trace stays trace.
ELogLevel GetLowerLogLevel(ELogLevel level);

void EnableConsoleLogging(bool enable);

/// Readable form of a mangled type name; null if it can't be read. The caller frees the result with free().
char* Demangle(const char* typeName);

/// The service through which the log level is read and set from outside the process.
std::shared_ptr<ILogConfig> CreateLogConfigService();

/// Readable name of a class, made once for each class.
template <class T>
const std::string& ClassName()
{
    static const std::string name = Detail::ReadableName(typeid(T).name());
    return name;
}

inline bool IsEnabled(ELogLevel level)
{
    return static_cast<int>(level) >= Detail::threshold.load(std::memory_order_relaxed);
}

} // namespace Log

// The macros are the only way to put the place of the statement into its text at compile time.
// NOLINTBEGIN(cppcoreguidelines-macro-usage)
#define LOG_AT(level, format, ...)                                                                           \
    do                                                                                                       \
    {                                                                                                        \
        if (Log::IsEnabled(level))                                                                           \
        {                                                                                                    \
            static constexpr auto logText =                                                                  \
                Log::Detail::WithSourcePrefix<Log::Detail::PrefixedSize(__FILE__, __LINE__, format)>(        \
                    __FILE__, __LINE__, format);                                                             \
            Log::Detail::Write(static_cast<int>(level), FMT_STRING(logText.View()), ##__VA_ARGS__);          \
        }                                                                                                    \
    } while (false)

/// A statement without the source prefix.
#define LOG_PLAIN(level, format, ...)                                                                        \
    do                                                                                                       \
    {                                                                                                        \
        if (Log::IsEnabled(level))                                                                           \
        {                                                                                                    \
            Log::Detail::Write(static_cast<int>(level), FMT_STRING(format), ##__VA_ARGS__);                  \
        }                                                                                                    \
    } while (false)

#define LOG_TRACE(format, ...) LOG_AT(Log::ELogLevel::Trace, format, ##__VA_ARGS__)
#define LOG_DEBUG(format, ...) LOG_AT(Log::ELogLevel::Debug, format, ##__VA_ARGS__)
#define LOG_INFO(format, ...) LOG_AT(Log::ELogLevel::Info, format, ##__VA_ARGS__)
#define LOG_WARN(format, ...) LOG_AT(Log::ELogLevel::Warn, format, ##__VA_ARGS__)
#define LOG_ERROR(format, ...) LOG_AT(Log::ELogLevel::Error, format, ##__VA_ARGS__)
#define LOG_CRITICAL(format, ...) LOG_AT(Log::ELogLevel::Critical, format, ##__VA_ARGS__)

/// Entry trace "Class::Method" of a member function of @p Class.
#define LOG_ENTRY(Class, method) LOG_PLAIN(Log::ELogLevel::Trace, "{}::{}", Log::ClassName<Class>(), method)
// NOLINTEND(cppcoreguidelines-macro-usage)
