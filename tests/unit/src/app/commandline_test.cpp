#include "src/commandline.h"

#include <getopt.h>

#include <iostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/capturedconsole.h"
#include "tests/support/capturedlog.h"

using Log::ELogLevel;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{

/// What the process sets before it reads its options: level info, and logging to the console.
class CommandLineTest : public testing::Test
{
protected:
    /// @return what ParseCommandLine does
    bool Parse(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), "webbackend");
        std::vector<char*> argv;
        for (std::string& argument : arguments)
        {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        optind = 0; // lets the scan begin anew
        return ParseCommandLine(static_cast<int>(arguments.size()), argv.data(), options);
    }

    const CCapturedLog log{ELogLevel::Info};
    const CCapturedConsole console;
    SOptions options;
};

/// Takes down what is written to standard output while it lives.
class CCapturedOutput
{
public:
    CCapturedOutput()
        : former(std::cout.rdbuf(stream.rdbuf()))
    {
    }
    ~CCapturedOutput() { std::cout.rdbuf(former); }
    CCapturedOutput(const CCapturedOutput&) = delete;
    CCapturedOutput& operator=(const CCapturedOutput&) = delete;
    CCapturedOutput(CCapturedOutput&&) = delete;
    CCapturedOutput& operator=(CCapturedOutput&&) = delete;

    std::string Text() const { return stream.str(); }

private:
    std::ostringstream stream;
    std::streambuf* const former;
};

} // namespace

TEST_F(CommandLineTest, WithoutOptionsChangesNothing)
{
    EXPECT_TRUE(Parse({}));

    EXPECT_EQ(options.root, "/");
    EXPECT_EQ(Log::GetLogLevel(), ELogLevel::Info);
    EXPECT_TRUE(Log::mConsoleLoggingEnabled);
}

TEST_F(CommandLineTest, EachVerboseMovesTheLevelOneStep)
{
    EXPECT_TRUE(Parse({"-v"}));
    EXPECT_EQ(Log::GetLogLevel(), ELogLevel::Debug);

    EXPECT_TRUE(Parse({"--verbose", "-v"}));
    EXPECT_EQ(Log::GetLogLevel(), ELogLevel::Trace);
}

TEST_F(CommandLineTest, TwoVerboseInOneGiveTrace)
{
    EXPECT_TRUE(Parse({"-vv"}));
    EXPECT_EQ(Log::GetLogLevel(), ELogLevel::Trace);
}

TEST_F(CommandLineTest, LevelStaysAtTrace)
{
    EXPECT_TRUE(Parse({"-vvvv"}));
    EXPECT_EQ(Log::GetLogLevel(), ELogLevel::Trace);
}

TEST_F(CommandLineTest, VerboseLinesGoToSystemLogAndConsole)
{
    ASSERT_TRUE(Parse({"-v"}));

    LOG_PLAIN(ELogLevel::Debug, "Reading {}", "config");
    LOG_PLAIN(ELogLevel::Trace, "Reading {}", "line");

    EXPECT_THAT(log.Lines(), ElementsAre(CCapturedLog::SLine{ELogLevel::Debug, "Reading config"}));
    EXPECT_EQ(console.Text(), "Reading config\n");
}

TEST_F(CommandLineTest, QuietLeavesTheSystemLogAlone)
{
    for (const std::string option : {"-q", "--quiet"})
    {
        Log::EnableConsoleLogging(true);
        ASSERT_TRUE(Parse({option, "-v"}));
        EXPECT_FALSE(Log::mConsoleLoggingEnabled) << option;

        LOG_PLAIN(ELogLevel::Debug, "Reading {}", option);

        EXPECT_TRUE(log.Has(ELogLevel::Debug, "Reading " + option));
        EXPECT_THAT(console.Text(), IsEmpty()) << option;
    }
}

TEST_F(CommandLineTest, RootIsTakenAsItIs)
{
    EXPECT_TRUE(Parse({"-r", "/first"}));
    EXPECT_EQ(options.root, "/first");

    EXPECT_TRUE(Parse({"--root=second/"}));
    EXPECT_EQ(options.root, "second/");
}

TEST_F(CommandLineTest, LaterRootReplacesAnEarlierOne)
{
    EXPECT_TRUE(Parse({"-r", "/first/", "--root", "/second/"}));
    EXPECT_EQ(options.root, "/second/");
}

TEST_F(CommandLineTest, UsageShowsTheRootBeforeItAndEndsTheScan)
{
    const CCapturedOutput output;

    EXPECT_FALSE(Parse({"-r", "/before/", "-h", "-v", "-q", "-r", "/after/"}));

    EXPECT_THAT(output.Text(), HasSubstr("defaults to '/before/'\n"));
    EXPECT_EQ(options.root, "/before/");
    EXPECT_EQ(Log::GetLogLevel(), ELogLevel::Info);
    EXPECT_TRUE(Log::mConsoleLoggingEnabled);
}

TEST_F(CommandLineTest, OptionsBeforeTheUsageAreApplied)
{
    const CCapturedOutput output;

    EXPECT_FALSE(Parse({"-v", "-q", "-h"}));

    EXPECT_EQ(Log::GetLogLevel(), ELogLevel::Debug);
    EXPECT_FALSE(Log::mConsoleLoggingEnabled);
}

TEST_F(CommandLineTest, OptionWithoutMeaningGivesTheUsage)
{
    const CCapturedOutput output;

    EXPECT_FALSE(Parse({"-s"}));

    EXPECT_THAT(output.Text(), HasSubstr("usage: webbackend [OPTION]\n"));
}
