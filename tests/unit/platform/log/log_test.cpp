#include "platform/log/log.h"
#include "platform/log/logconfig.h"

#include <spdlog/logger.h>

#include <atomic>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/capturedconsole.h"
#include "tests/support/capturedlog.h"

using Log::ELogLevel;
using testing::ElementsAre;
using testing::HasSubstr;

namespace
{

class CSample
{
public:
    static void Enter() { LOG_ENTRY(CSample, "Enter"); }
};

int CountedCall(int& calls)
{
    return ++calls;
}

/// Counts how often it is formatted.
struct SCountedText
{
    int& formatted;
};

/// Throws when it is formatted.
struct SUnprintable
{
};

} // namespace

template <>
struct fmt::formatter<SCountedText> : fmt::formatter<std::string_view>
{
    auto format(const SCountedText& text, format_context& context) const
    {
        ++text.formatted;
        return fmt::formatter<std::string_view>::format("engine", context);
    }
};

template <>
struct fmt::formatter<SUnprintable> : fmt::formatter<std::string_view>
{
    static format_context::iterator format(const SUnprintable& /*value*/, format_context& /*context*/)
    {
        throw std::runtime_error("can't be printed");
    }
};

TEST(Log, PutsPathWithoutExtensionAndLineBeforeTheText)
{
    const CCapturedLog log;

    const int line = __LINE__ + 1;
    LOG_INFO("Starting {}", "engine");

    const std::string expected =
        "(tests/unit/platform/log/log_test:" + std::to_string(line) + ") Starting engine";
    EXPECT_THAT(log.Lines(), ElementsAre(CCapturedLog::SLine{ELogLevel::Info, expected}));
}

TEST(Log, PlainStatementHasNoPrefix)
{
    const CCapturedLog log;

    LOG_PLAIN(ELogLevel::Warn, "[RPC] {}", 7);

    EXPECT_THAT(log.Lines(), ElementsAre(CCapturedLog::SLine{ELogLevel::Warn, "[RPC] 7"}));
}

TEST(Log, EntryTraceNamesClassAndMethodWithoutPrefix)
{
    const CCapturedLog log;

    CSample::Enter();

    EXPECT_THAT(log.Lines(),
                ElementsAre(CCapturedLog::SLine{ELogLevel::Trace, "(anonymous namespace)::CSample::Enter"}));
}

TEST(Log, StatementBelowTheThresholdEvaluatesNothing)
{
    const CCapturedLog log(ELogLevel::Warn);
    int calls = 0;

    LOG_INFO("{}", CountedCall(calls));
    LOG_WARN("{}", CountedCall(calls));

    EXPECT_EQ(calls, 1);
    EXPECT_THAT(log.Messages(), ElementsAre(CCapturedLog::SLine{ELogLevel::Warn, "1"}));
}

TEST(Log, LowerLevelGoesTowardsTraceAndStaysThere)
{
    EXPECT_EQ(Log::GetLowerLogLevel(ELogLevel::Info), ELogLevel::Debug);
    EXPECT_EQ(Log::GetLowerLogLevel(ELogLevel::Debug), ELogLevel::Trace);
    EXPECT_EQ(Log::GetLowerLogLevel(ELogLevel::Trace), ELogLevel::Trace);
}

TEST(Log, DemangleGivesNullForWhatIsNoTypeName)
{
    const std::unique_ptr<char, decltype(&std::free)> name(Log::Demangle("St13runtime_error"), &std::free);
    EXPECT_STREQ(name.get(), "std::runtime_error");
    EXPECT_EQ(Log::Demangle("?"), nullptr);
}

TEST(Log, ConfigServiceReadsAndSetsTheThreshold)
{
    const CCapturedLog log(ELogLevel::Info);
    const auto service = Log::CreateLogConfigService();

    EXPECT_EQ(service->GetLogLevel(), 2);
    EXPECT_TRUE(service->SetLogLevel(4));
    EXPECT_EQ(service->GetLogLevel(), 4);
    EXPECT_EQ(Log::GetLogLevel(), ELogLevel::Error);
}

TEST(Log, ConfigServiceRefusesNumbersThatAreNoLevel)
{
    const CCapturedLog log(ELogLevel::Info);
    const auto service = Log::CreateLogConfigService();

    EXPECT_FALSE(service->SetLogLevel(-1));
    EXPECT_FALSE(service->SetLogLevel(6));
    EXPECT_EQ(service->GetLogLevel(), 2);
}

TEST(Log, StatementGoesToSystemLogAndConsole)
{
    const CCapturedLog log;
    const CCapturedConsole console;
    int formatted = 0;

    LOG_PLAIN(ELogLevel::Info, "Starting {}", SCountedText{formatted});

    EXPECT_THAT(log.Lines(), ElementsAre(CCapturedLog::SLine{ELogLevel::Info, "Starting engine"}));
    EXPECT_EQ(console.Text(), "Starting engine\n");
    EXPECT_EQ(formatted, 2) << "once for each sink";
}

TEST(Log, StatementGoesOnlyToTheSystemLogWithoutConsoleLogging)
{
    const CCapturedLog log;
    const CCapturedConsole console;
    Log::EnableConsoleLogging(false);
    int formatted = 0;

    LOG_PLAIN(ELogLevel::Info, "Starting {}", SCountedText{formatted});

    EXPECT_THAT(log.Lines(), ElementsAre(CCapturedLog::SLine{ELogLevel::Info, "Starting engine"}));
    EXPECT_EQ(console.Text(), "");
    EXPECT_EQ(formatted, 1);
}

TEST(Log, FailureToFormatGoesToTheErrorHandlerAndNotToTheCaller)
{
    const CCapturedLog log;
    std::vector<std::string> failures;
    Log::mSyslogSink->set_error_handler([&failures](const std::string& text) { failures.push_back(text); });

    EXPECT_NO_THROW(LOG_PLAIN(ELogLevel::Info, "{}", SUnprintable{}));
    LOG_PLAIN(ELogLevel::Info, "next");
    Log::mSyslogSink->set_error_handler({});

    EXPECT_THAT(failures, ElementsAre(HasSubstr("can't be printed")));
    EXPECT_THAT(log.Lines(), ElementsAre(CCapturedLog::SLine{ELogLevel::Info, "next"}));
}

TEST(Log, NoStatementThatPassesIsLostWhileTheLevelChanges)
{
    constexpr std::size_t rounds = 1000;
    const CCapturedLog log(ELogLevel::Info);
    std::atomic<bool> done{false};
    std::thread other(
        [&done]
        {
            for (std::size_t round = 0; round < rounds; ++round)
            {
                LOG_INFO("round {}", round);
                LOG_CRITICAL("round {}", round);
            }
            done = true;
        });
    for (bool higher = true; !done; higher = !higher)
    {
        Log::SetLogLevel(higher ? ELogLevel::Critical : ELogLevel::Info);
    }
    other.join();

    std::vector<std::string> expected;
    for (std::size_t round = 0; round < rounds; ++round)
    {
        expected.push_back("round " + std::to_string(round));
    }
    EXPECT_EQ(log.Messages(ELogLevel::Critical), expected);
}
