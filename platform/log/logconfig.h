#pragma once

/// The log level as other processes see it.
/// Threads: any.
class ILogConfig
{
public:
    ILogConfig() = default;
    ILogConfig(const ILogConfig&) = delete;
    ILogConfig& operator=(const ILogConfig&) = delete;
    ILogConfig(ILogConfig&&) = delete;
    ILogConfig& operator=(ILogConfig&&) = delete;
    virtual ~ILogConfig() = default;

    /// @param level 0 trace to 5 critical
    /// @return false, and nothing changed, for any other number
    virtual bool SetLogLevel(int level) = 0;

    /// @return 0 trace to 5 critical
    virtual int GetLogLevel() const = 0;
};
