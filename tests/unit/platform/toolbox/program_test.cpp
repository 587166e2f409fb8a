#include "platform/toolbox/interruption.h"
#include "platform/toolbox/program.h"

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/temporarydirectory.h"

using Toolbox::RunProgram;
using Toolbox::SProgramEnd;

namespace
{

class Program : public testing::Test
{
protected:
    /// What a program writes to its standard output.
    std::string OutputOf(const std::vector<std::string>& command, std::string_view input = {}) const
    {
        const std::string file = (directory.Path() / "output").string();
        const int output = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        const SProgramEnd end = RunProgram(command, input, output);
        close(output);
        EXPECT_EQ(end.status, 0) << end.errors;
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    static SProgramEnd RunScript(const std::string& script) { return RunProgram({"/bin/sh", "-c", script}); }

    const CTemporaryDirectory directory;
};

} // namespace

TEST_F(Program, GetsItsArgumentsAsTheyAre)
{
    EXPECT_EQ(OutputOf({"/usr/bin/printf", "%s|", "a b", "$(id)", "; touch x", "*", "", "a\nb", "'\"\\"}),
              "a b|$(id)|; touch x|*||a\nb|'\"\\|");
}

TEST_F(Program, ReadsItsInput)
{
    const std::string input = std::string("with a \0 in it", 14) + std::string(1000000, 'x');
    EXPECT_EQ(OutputOf({"/bin/cat"}, input), input);
    EXPECT_EQ(OutputOf({"/bin/cat"}), "");
}

TEST_F(Program, WritesNowhereWithoutAnOutput)
{
    EXPECT_EQ(RunScript("echo lost").status, 0);
    EXPECT_EQ(RunScript("[ /dev/fd/1 -ef /dev/null ]").status, 0);
}

TEST_F(Program, EndsWithItsStatus)
{
    EXPECT_EQ(RunScript("exit 0").status, 0);
    EXPECT_EQ(RunScript("exit 3").status, 3);
}

TEST_F(Program, EndsWithTheSignalThatEndedIt)
{
    EXPECT_EQ(RunScript("kill -KILL $$").status, 128 + 9);
}

TEST_F(Program, ThatIsNotThereEndsWithTheReason)
{
    const SProgramEnd end = RunProgram({"/nowhere/program"});
    EXPECT_EQ(end.status, 127);
    EXPECT_EQ(end.errors, "No such file or directory");
}

TEST_F(Program, EndsWithTheBeginningOfItsErrors)
{
    EXPECT_EQ(RunScript("echo oh >&2").errors, "oh\n");
    EXPECT_EQ(RunScript("yes no | head -n 100000 >&2").errors.size(), 1024U);
}

TEST_F(Program, GetsNoDescriptorOfThisProcess)
{
    constexpr int Inherited = 50;
    const int file = open("/dev/null", O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(dup2(file, Inherited), Inherited);

    EXPECT_EQ(RunScript("[ -e /proc/self/fd/50 ]").status, 1);

    close(Inherited);
    close(file);
}

TEST_F(Program, GetsNothingOfThisProcessesEnvironment)
{
    setenv("TAR_OPTIONS", "--checkpoint-action=exec=sh", 1);

    EXPECT_EQ(OutputOf({"/usr/bin/env"}), "PATH=/usr/bin:/bin\nLC_ALL=C\n");

    unsetenv("TAR_OPTIONS");
}

TEST_F(Program, FindsSignalsAsByDefault)
{
    sigset_t mask;
    sigset_t before;
    sigemptyset(&mask);
    sigaddset(&mask, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &mask, &before);

    EXPECT_EQ(RunScript("kill -TERM $$; exit 5").status, 128 + SIGTERM);

    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST_F(Program, LeavesNoDescriptorOpen)
{
    const int before = dup(STDIN_FILENO);
    close(before);

    RunScript("exit 0");
    RunProgram({"/nowhere/program"}, "input");

    const int after = dup(STDIN_FILENO);
    close(after);
    EXPECT_EQ(after, before);
}

TEST_F(Program, RunsBesideOthers)
{
    std::vector<int> statuses(8, -1);
    std::vector<std::thread> threads;
    for (std::size_t number = 0; number < statuses.size(); ++number)
    {
        threads.emplace_back([&statuses, number]
                             { statuses[number] = RunScript("exit " + std::to_string(number)).status; });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(statuses, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
}

TEST_F(Program, IsKilledByAnInterruption)
{
    const std::string pipe = (directory.Path() / "pipe").string();
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    Toolbox::CInterruption interruption;
    std::thread stopping(
        [&]
        {
            // opens when the program does, and stands at its end when the program is gone
            std::ifstream running(pipe);
            std::string line;
            std::getline(running, line);
            EXPECT_EQ(line, "running");
            interruption.Interrupt();
            EXPECT_FALSE(std::getline(running, line));
        });

    try
    {
        RunProgram(
            {"/bin/sh", "-c", R"(exec >"$0"; echo running; exec sleep 600)", pipe}, {}, -1, &interruption);
        ADD_FAILURE() << "it has come to an end";
    }
    catch (const std::system_error& error)
    {
        EXPECT_EQ(error.code(), std::errc::operation_canceled);
    }
    stopping.join();
}

TEST_F(Program, DoesNotRunDuringAnInterruptionAndDoesAfterIt)
{
    Toolbox::CInterruption interruption;
    interruption.Interrupt();
    EXPECT_THROW(RunProgram({"/bin/sleep", "600"}, {}, -1, &interruption), std::system_error);

    interruption.Resume();
    EXPECT_EQ(RunProgram({"/bin/sh", "-c", "exit 3"}, {}, -1, &interruption).status, 3);
}
