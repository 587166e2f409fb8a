#include "tests/support/capturedlog.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/base_sink.h>

#include <algorithm>
#include <ostream>
#include <string_view>

namespace
{

/// Length of "(PATH:LINE) " at the beginning of a text, 0 if there is none.
std::size_t PrefixLength(std::string_view text)
{
    const std::size_t end = text.find(") ");
    const std::size_t colon = text.rfind(':', end);
    const bool hasPrefix = !text.empty() && text.front() == '(' && end != std::string_view::npos &&
                           colon != std::string_view::npos &&
                           text.find_first_not_of("0123456789", colon + 1) == end;
    return hasPrefix ? end + 2 : 0;
}

} // namespace

class CCapturedLog::CSink : public spdlog::sinks::base_sink<std::mutex>
{
public:
    std::vector<SLine> Lines()
    {
        const std::lock_guard lock(mutex_);
        return lines;
    }

    void Clear()
    {
        const std::lock_guard lock(mutex_);
        lines.clear();
    }

protected:
    void sink_it_(const spdlog::details::log_msg& message) override
    {
        lines.push_back({static_cast<Log::ELogLevel>(message.level),
                         std::string(message.payload.data(), message.payload.size())});
    }

    void flush_() override {}

private:
    std::vector<SLine> lines;
};

namespace
{

/// Hands each line to the capturing sinks that are registered. It stays in the log for good: threads of a
/// test may log while a capture comes or goes.
class CDispatcher : public spdlog::sinks::base_sink<std::mutex>
{
public:
    void Register(const std::shared_ptr<spdlog::sinks::sink>& sink)
    {
        const std::lock_guard lock(mutex_);
        sinks.push_back(sink);
    }

    void Unregister(const std::shared_ptr<spdlog::sinks::sink>& sink)
    {
        const std::lock_guard lock(mutex_);
        sinks.erase(std::remove(sinks.begin(), sinks.end(), sink), sinks.end());
    }

protected:
    void sink_it_(const spdlog::details::log_msg& message) override
    {
        for (const std::shared_ptr<spdlog::sinks::sink>& sink : sinks)
        {
            sink->log(message);
        }
    }

    void flush_() override {}

private:
    std::vector<std::shared_ptr<spdlog::sinks::sink>> sinks;
};

/// Opens the log before main, when no other thread can be at it.
std::shared_ptr<CDispatcher> OpenLog()
{
    auto dispatcher = std::make_shared<CDispatcher>();
    Log::Init("test", Log::ELogLevel::Critical);
    Log::EnableConsoleLogging(false);
    Log::mSyslogSink->sinks().assign({dispatcher});
    return dispatcher;
}

const std::shared_ptr<CDispatcher> dispatcher = OpenLog();

} // namespace

CCapturedLog::CCapturedLog(Log::ELogLevel level)
    : sink(std::make_shared<CSink>())
{
    dispatcher->Register(sink);
    Log::SetLogLevel(level);
}

CCapturedLog::~CCapturedLog()
{
    Log::SetLogLevel(Log::ELogLevel::Critical);
    dispatcher->Unregister(sink);
}

std::vector<CCapturedLog::SLine> CCapturedLog::Lines() const
{
    return sink->Lines();
}

std::vector<CCapturedLog::SLine> CCapturedLog::Messages() const
{
    std::vector<SLine> lines = sink->Lines();
    for (SLine& line : lines)
    {
        line.text.erase(0, PrefixLength(line.text));
    }
    return lines;
}

std::vector<std::string> CCapturedLog::Messages(Log::ELogLevel level) const
{
    std::vector<std::string> texts;
    for (const SLine& line : Messages())
    {
        if (line.level == level)
        {
            texts.push_back(line.text);
        }
    }
    return texts;
}

bool CCapturedLog::Has(Log::ELogLevel level, const std::string& text) const
{
    const std::vector<SLine> lines = Messages();
    return std::find(lines.begin(), lines.end(), SLine{level, text}) != lines.end();
}

void CCapturedLog::Clear()
{
    sink->Clear();
}

std::ostream& operator<<(std::ostream& stream, const CCapturedLog::SLine& line)
{
    return stream << static_cast<int>(line.level) << " \"" << line.text << '"';
}
