#include "src/tools/passwd.h"

#include "platform/toolbox/password.h"

#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/childprocess.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace
{

struct SRun
{
    int status;
    std::string output;
    std::string errors;
};

SRun RunWith(const std::string& input, std::vector<std::string> arguments = {})
{
    arguments.insert(arguments.begin(), "webbackend-passwd");
    std::vector<char*> argv;
    for (std::string& argument : arguments)
    {
        argv.push_back(argument.data());
    }
    std::istringstream inputStream(input);
    std::ostringstream output;
    std::ostringstream errors;
    const int status = RunPasswd(static_cast<int>(argv.size()), argv.data(), inputStream, output, errors);
    return {status, output.str(), errors.str()};
}

/// Whether the output is one line with the encoded form of the password.
bool IsLineOf(const std::string& output, const std::string& password)
{
    const std::size_t end = output.size() - 1;
    const auto decoded = Toolbox::CPassword::FromEncoded(output.substr(0, end));
    return output.find('\n') == end && decoded && decoded->Equal(password);
}

void ExpectRefusal(const std::string& input, const std::string& reason)
{
    const SRun run = RunWith(input);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "webbackend-passwd: " + reason + "\n");
}

} // namespace

TEST(Passwd, PrintsTheEncodedFormOfTheLine)
{
    const SRun run = RunWith("open sesame\n");

    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(IsLineOf(run.output, "open sesame")) << run.output;
    EXPECT_EQ(run.errors, "");
}

TEST(Passwd, NeedsNoLineFeedAtTheEnd)
{
    EXPECT_TRUE(IsLineOf(RunWith("open sesame").output, "open sesame"));
}

TEST(Passwd, TakesTheLineAsItStands)
{
    EXPECT_TRUE(IsLineOf(RunWith(" caf\xc3\xa9 \xff\t\r\n").output, " caf\xc3\xa9 \xff\t\r"));
}

TEST(Passwd, LooksNoFurtherThanTheLine)
{
    EXPECT_TRUE(IsLineOf(RunWith("open sesame\nand more\n").output, "open sesame"));
}

TEST(Passwd, RefusesAnEmptyLine)
{
    ExpectRefusal("", "no password on standard input");
    ExpectRefusal("\n", "no password on standard input");
    ExpectRefusal("\nopen sesame\n", "no password on standard input");
}

TEST(Passwd, RefusesWhatCannotBeTakenWhole)
{
    const std::string reason = "A password has at most 511 bytes, and none of them is zero";
    ExpectRefusal(std::string(512, 'x') + "\n", reason);
    ExpectRefusal(std::string("open\0sesame\n", 12), reason);
}

TEST(Passwd, ShowsItsUsage)
{
    for (const auto* option : {"-h", "--help"})
    {
        const SRun run = RunWith("open sesame\n", {option});
        EXPECT_EQ(run.status, 0);
        EXPECT_THAT(run.output, StartsWith("usage: webbackend-passwd [-h] < PASSWORD\n"));
        EXPECT_EQ(run.errors, "");
    }
}

TEST(Passwd, ShowsItsUsageAsAnErrorForAWrongCommandLine)
{
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"-x"}, {"open sesame"}, {"-h", "-h"}, {""}})
    {
        const SRun run = RunWith("open sesame\n", arguments);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.output, "");
        EXPECT_THAT(run.errors, StartsWith("usage: webbackend-passwd [-h] < PASSWORD\n"));
    }
}

TEST(PasswdProgram, ReadsStandardInputAndWritesStandardOutput)
{
    CChildProcess program({"/bin/sh", "-c", "echo open sesame | " WEBBACKEND_PASSWD});

    EXPECT_EQ(program.AwaitEnd().status, 0);
    EXPECT_TRUE(IsLineOf(program.Output(), "open sesame")) << program.Output();
    EXPECT_EQ(program.Errors(), "");
}

TEST(PasswdProgram, WritesItsRefusalToStandardErrorAndEndsWithStatusOne)
{
    CChildProcess program({"/bin/sh", "-c", WEBBACKEND_PASSWD " < /dev/null"});

    EXPECT_EQ(program.AwaitEnd().status, 1);
    EXPECT_EQ(program.Output(), "");
    EXPECT_THAT(program.Errors(), HasSubstr("no password on standard input"));
}

TEST(PasswdProgram, FailsWhenItsOutputCannotBeWritten)
{
    CChildProcess program({"/bin/sh", "-c", "echo open sesame | " WEBBACKEND_PASSWD " > /dev/full"});

    EXPECT_EQ(program.AwaitEnd().status, 1);
    EXPECT_THAT(program.Errors(), HasSubstr("cannot write to standard output"));
}
