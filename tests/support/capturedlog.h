#pragma once

#include "platform/log/log.h"

#include <mutex>
#include <string>
#include <vector>

/// Takes down what is logged while it lives, at the given level and above, in place of the sinks of the
/// process. Threads: any may log; Lines and the others copy.
class CCapturedLog
{
public:
    struct SLine
    {
        Log::ELogLevel level;
        std::string text;

        bool operator==(const SLine& other) const { return level == other.level && text == other.text; }
    };

    explicit CCapturedLog(Log::ELogLevel level = Log::ELogLevel::Trace);
    ~CCapturedLog();
    CCapturedLog(const CCapturedLog&) = delete;
    CCapturedLog& operator=(const CCapturedLog&) = delete;
    CCapturedLog(CCapturedLog&&) = delete;
    CCapturedLog& operator=(CCapturedLog&&) = delete;

    /// Lines as they were logged, source prefix included.
    std::vector<SLine> Lines() const;

    /// Lines with the source prefix cut off.
    std::vector<SLine> Messages() const;

    /// Texts of the lines of one level, without the source prefix.
    std::vector<std::string> Messages(Log::ELogLevel level) const;

    /// Whether a line of that level and text, without its prefix, was logged.
    bool Has(Log::ELogLevel level, const std::string& text) const;

    void Clear();

private:
    class CSink;
    std::shared_ptr<CSink> sink;
};

std::ostream& operator<<(std::ostream& stream, const CCapturedLog::SLine& line);
