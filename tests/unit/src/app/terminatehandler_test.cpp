#include "src/terminatehandler.h"

#include "platform/log/log.h"

#include <csignal>
#include <exception>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::KilledBySignal;
using testing::ResultOf;

namespace
{

class CSampleError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// As the process does it at its start.
void InstallHandler()
{
    Log::EnableConsoleLogging(true);
    Log::Init("app_test", Log::ELogLevel::Info);
    std::set_terminate(&HandleTerminate);
}

/// Ends the process through the handler: nobody catches what a thread throws.
template <class Exception>
void ThrowOnThread(const Exception& exception)
{
    InstallHandler();
    std::thread([&exception] { throw exception; }).join();
}

void TerminateWithoutException()
{
    InstallHandler();
    std::terminate();
}

/// "LEVEL TEXT" of each line of the console; other lines as they are.
std::vector<std::string> Messages(const std::string& errors)
{
    static const std::regex consoleLine(R"(^\S+ \S+ (\S+) +\[\d+\] (.*)$)");
    std::vector<std::string> messages;
    std::istringstream stream(errors);
    for (std::string line; std::getline(stream, line);)
    {
        messages.push_back(std::regex_replace(line, consoleLine, "$1 $2"));
    }
    return messages;
}

} // namespace

TEST(TerminateHandlerDeathTest, NamesTypeAndMessageOfAnException)
{
    EXPECT_EXIT(ThrowOnThread(std::runtime_error("no such file")),
                KilledBySignal(SIGABRT),
                ResultOf(&Messages,
                         ElementsAre("critical Uncaught exception of type 'std::runtime_error' with message: "
                                     "'no such file'",
                                     "critical Aborting process.")));
}

TEST(TerminateHandlerDeathTest, NamesTheTypeThatWasThrownAndNotItsBase)
{
    EXPECT_EXIT(
        ThrowOnThread(CSampleError("{}")),
        KilledBySignal(SIGABRT),
        ResultOf(&Messages,
                 ElementsAre("critical Uncaught exception of type '(anonymous namespace)::CSampleError' with "
                             "message: '{}'",
                             "critical Aborting process.")));
}

TEST(TerminateHandlerDeathTest, KnowsNoTypeOutsideTheStandardBase)
{
    EXPECT_EXIT(
        ThrowOnThread(7),
        KilledBySignal(SIGABRT),
        ResultOf(&Messages,
                 ElementsAre("critical Uncaught exception of unknown type.", "critical Aborting process.")));
}

TEST(TerminateHandlerDeathTest, WithoutExceptionOnlyTellsThatItAborts)
{
    EXPECT_EXIT(TerminateWithoutException(),
                KilledBySignal(SIGABRT),
                ResultOf(&Messages, ElementsAre("critical Aborting process.")));
}
