#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/childprocess.h"
#include "tests/support/temporarydirectory.h"

using testing::HasSubstr;
using testing::Not;

namespace
{

std::string Usage(const std::string& root)
{
    return "usage: " WEBBACKEND_PROCESS " [OPTION]\n"
           "  -v, --verbose    increase verbosity  -q, --quiet      disable logging to console\n"
           "  -r, --root=PATH  set the filesystem root directory\n"
           "                   defaults to '" +
           root +
           "'\n"
           "  -h, --help       show this help message and exit\n\n";
}

struct SRun
{
    SProcessEnd end;
    std::string output;
    std::string errors;
};

SRun RunWith(const std::vector<std::string>& options)
{
    std::vector<std::string> command{WEBBACKEND_PROCESS};
    command.insert(command.end(), options.begin(), options.end());
    CChildProcess process(command);
    const SProcessEnd end = process.AwaitEnd();
    return {end, process.Output(), process.Errors()};
}

void ExpectUsage(const std::vector<std::string>& options, const std::string& root)
{
    const SRun run = RunWith(options);
    EXPECT_EQ(run.end.status, 1);
    EXPECT_EQ(run.output, Usage(root));
    EXPECT_EQ(run.errors, "");
}

void ExpectUsageAfterComplaint(const std::vector<std::string>& options, const std::string& complaint)
{
    const SRun run = RunWith(options);
    EXPECT_EQ(run.end.status, 1);
    EXPECT_EQ(run.output, Usage("/"));
    EXPECT_EQ(run.errors, WEBBACKEND_PROCESS ": " + complaint + "\n");
}

} // namespace

TEST(CommandLine, HelpPrintsTheUsageAndEndsWithStatusOne)
{
    ExpectUsage({"-h"}, "/");
    ExpectUsage({"--help"}, "/");
}

TEST(CommandLine, OptionSBehavesLikeHelp)
{
    ExpectUsage({"-s"}, "/");
}

TEST(CommandLine, HelpShowsTheRootGivenBeforeIt)
{
    ExpectUsage({"-r", "/station/", "-h"}, "/station/");
    ExpectUsage({"--root=/station/", "-h"}, "/station/");
}

TEST(CommandLine, OptionsBehindHelpAreNotLookedAt)
{
    ExpectUsage({"-h", "-r", "/station/", "--nonsense"}, "/");
}

TEST(CommandLine, UnknownOptionAndMissingArgumentPrintTheUsage)
{
    ExpectUsageAfterComplaint({"-x"}, "invalid option -- 'x'");
    ExpectUsageAfterComplaint({"--nonsense"}, "unrecognized option '--nonsense'");
    ExpectUsageAfterComplaint({"--root"}, "option '--root' requires an argument");
    ExpectUsageAfterComplaint({"-r"}, "option requires an argument -- 'r'");
}

TEST(CommandLine, OperandsAreIgnored)
{
    const CTemporaryDirectory directory;

    const SRun run = RunWith({"operand", "-r", directory.Root(), "another"});

    EXPECT_THAT(run.errors, HasSubstr(directory.Root() + "etc/iipc.json"));
}

TEST(CommandLine, RootWithoutSlashIsGluedToThePath)
{
    const CTemporaryDirectory directory;

    const SRun run = RunWith({"-r", directory.Path().string()});

    EXPECT_THAT(run.errors, HasSubstr(directory.Path().string() + "etc/iipc.json"));
}

TEST(CommandLine, QuietWithVerboseWritesNothingToTheConsole)
{
    const CTemporaryDirectory directory;

    const SRun run = RunWith({"-q", "-v", "-r", directory.Root()});

    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "");
}

TEST(CommandLine, EachVerboseGoesOneLevelTowardsTrace)
{
    const CTemporaryDirectory directory;
    const std::string entryTrace = "CWebbackend::CWebbackend";

    EXPECT_THAT(RunWith({"-r", directory.Root()}).errors, Not(HasSubstr(entryTrace)));
    EXPECT_THAT(RunWith({"-v", "-r", directory.Root()}).errors, Not(HasSubstr(entryTrace)));
    EXPECT_THAT(RunWith({"-vv", "-r", directory.Root()}).errors, HasSubstr(entryTrace));
    EXPECT_THAT(RunWith({"--verbose", "--verbose", "-v", "-r", directory.Root()}).errors,
                HasSubstr(entryTrace));
}
