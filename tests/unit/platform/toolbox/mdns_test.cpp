#include "platform/toolbox/interruption.h"
#include "platform/toolbox/mdns.h"
#include "platform/toolbox/program.h"

#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/capturedlog.h"
#include "tests/support/eventually.h"
#include "tests/support/temporarydirectory.h"

namespace Toolbox
{

static bool operator==(const SMdnsDevice& one, const SMdnsDevice& other)
{
    return one.hostname == other.hostname && one.ipAddress == other.ipAddress;
}

static void PrintTo(const SMdnsDevice& device, std::ostream* stream)
{
    *stream << device.hostname << ' ' << device.ipAddress;
}

} // namespace Toolbox

namespace
{

using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;
using Toolbox::SMdnsDevice;

/// With a script in the place of the program that asks.
class Mdns : public testing::Test
{
protected:
    std::vector<SMdnsDevice> Query(const std::string& script, seconds timeout = seconds(60))
    {
        const std::filesystem::path program = directory.Path() / "asks";
        directory.Write("asks", "#!/bin/sh\ncd '" + directory.Path().string() + "'\n" + script);
        std::filesystem::permissions(program, std::filesystem::perms::owner_all);
        return Toolbox::QueryMdnsDevices("_x._tcp.local.", timeout, &interruption, program.string());
    }

    std::string Path(const std::string& name) const { return (directory.Path() / name).string(); }

    void AwaitFile(const std::string& name) const
    {
        const auto end = std::chrono::steady_clock::now() + TestPatience;
        while (!std::filesystem::exists(Path(name)) && std::chrono::steady_clock::now() < end)
        {
            std::this_thread::yield();
        }
    }

    const CTemporaryDirectory directory;
    Toolbox::CInterruption interruption;
};

TEST_F(Mdns, ProgramStandsBesideTheOneThatRuns)
{
    EXPECT_EQ(Toolbox::MdnsProgram(),
              std::filesystem::canonical("/proc/self/exe").parent_path() / "webbackend-mdns");
}

TEST_F(Mdns, ProgramIsToldTheServiceAndTheTime)
{
    const auto devices = Query("echo $# ${1}\ntest $2 -le 60000 && test $2 -gt 1000 && echo in time\n");
    EXPECT_THAT(devices, ElementsAre(SMdnsDevice{"_x._tcp.local.", "2"}, SMdnsDevice{"time", "in"}));
}

TEST_F(Mdns, DevicesComeOnceInTheOrderOfTheirFirstAnswers)
{
    EXPECT_THAT(Query("echo 10.0.0.2 b.local\n"
                      "echo 10.0.0.1 a.local\n"
                      "echo 10.0.0.3 B.local\n"
                      "echo 10.0.0.2 b.local\n"
                      "echo 10.0.0.2 c.local\n"),
                ElementsAre(SMdnsDevice{"b.local", "10.0.0.2"},
                            SMdnsDevice{"a.local", "10.0.0.1"},
                            SMdnsDevice{"c.local", "10.0.0.2"}));
}

TEST_F(Mdns, IPv4AddressesGoFirstAndThoseOfALinkLast)
{
    EXPECT_THAT(Query("echo fe80::1%eth0 a.local\n"
                      "echo fe80::2%eth0 a.local\n"
                      "echo fe80::1%eth0 b.local\n"
                      "echo fd00::1 b.local\n"
                      "echo fd00::2 b.local\n"
                      "echo febf::1%eth0 c.local\n"
                      "echo fd00::1 c.local\n"
                      "echo 10.0.0.1 c.local\n"
                      "echo 10.0.0.2 c.local\n"
                      "echo fd00::2 c.local\n"),
                ElementsAre(SMdnsDevice{"a.local", "fe80::1%eth0"},
                            SMdnsDevice{"b.local", "fd00::1"},
                            SMdnsDevice{"c.local", "10.0.0.1"}));
}

TEST_F(Mdns, UnfinishedAnswerDoesNotCount)
{
    EXPECT_THAT(Query("echo 10.0.0.1 a.local\nprintf '10.0.0.2 b.loc'\n"),
                ElementsAre(SMdnsDevice{"a.local", "10.0.0.1"}));
}

TEST_F(Mdns, ProgramThatIsEndedBySignalsIsStartedAgain)
{
    const CCapturedLog log(Log::ELogLevel::Debug);
    EXPECT_THAT(Query("echo run >> runs\n"
                      "n=$(grep -c run runs)\n"
                      "echo 10.0.0.$n host$n.local\n"
                      "test $n -lt 3 && kill -ABRT $$\n"
                      "exit 0\n"),
                ElementsAre(SMdnsDevice{"host1.local", "10.0.0.1"},
                            SMdnsDevice{"host2.local", "10.0.0.2"},
                            SMdnsDevice{"host3.local", "10.0.0.3"}));
    EXPECT_EQ(log.Messages(Log::ELogLevel::Warn).size(), 2U);
}

TEST_F(Mdns, ProgramThatIsAlwaysEndedBySignalsIsGivenUp)
{
    const CCapturedLog log(Log::ELogLevel::Debug);
    EXPECT_THAT(Query("kill -SEGV $$\n"), IsEmpty());
    EXPECT_EQ(log.Messages(Log::ELogLevel::Warn).size(), 20U);
}

TEST_F(Mdns, ProgramThatIsEndedWhenTheTimeIsOverIsNotStartedAgain)
{
    EXPECT_THAT(Query("echo 10.0.0.1 host$$.local\nsleep 1.1\nkill -ALRM $$\n", seconds(1)),
                testing::SizeIs(1));
}

TEST_F(Mdns, ProgramThatFailsIsLoggedAndNotStartedAgain)
{
    const CCapturedLog log(Log::ELogLevel::Debug);
    EXPECT_THAT(Query("echo no network >&2\necho more >&2\nexit 1\n"), IsEmpty());
    EXPECT_THAT(log.Messages(),
                ElementsAre(CCapturedLog::SLine{Log::ELogLevel::Warn,
                                                directory.Path() / "asks failed with 1: no network"}));
}

TEST_F(Mdns, ProgramThatIsNotThereIsLogged)
{
    const CCapturedLog log(Log::ELogLevel::Debug);
    EXPECT_THAT(Toolbox::QueryMdnsDevices("_x._tcp.local.", seconds(60), nullptr, "/none"), IsEmpty());
    EXPECT_THAT(log.Messages(),
                ElementsAre(CCapturedLog::SLine{Log::ELogLevel::Warn,
                                                "/none failed with 127: No such file or directory"}));
}

TEST_F(Mdns, SearchGivesWhatOneUnderWayHasHeardToo)
{
    directory.Write("first",
                    "#!/bin/sh\necho 10.0.0.1 a.local\n: > '" + Path("told") + "'\nread end < '" +
                        Path("end") + "'\necho 10.0.0.3 c.local\n");
    directory.Write("second",
                    "#!/bin/sh\necho 10.0.0.2 b.local\necho end > '" + Path("end") + "'\nwhile ! [ -e '" +
                        Path("over") + "' ]; do sleep 0.01; done\n");
    directory.Write("third", "#!/bin/sh\necho 10.0.0.4 d.local\n");
    ASSERT_EQ(mkfifo(Path("end").c_str(), 0600), 0);
    for (const char* program : {"first", "second", "third"})
    {
        std::filesystem::permissions(directory.Path() / program, std::filesystem::perms::owner_all);
    }
    const auto query = [this](const char* program, const char* service = "_x._tcp.local.")
    { return Toolbox::QueryMdnsDevices(service, seconds(60), nullptr, Path(program)); };
    std::vector<SMdnsDevice> ofFirst;
    std::thread first(
        [&]
        {
            ofFirst = query("first");
            directory.Write("over", "");
        });
    AwaitFile("told");

    EXPECT_THAT(query("third", "_y._tcp.local."), ElementsAre(SMdnsDevice{"d.local", "10.0.0.4"}));
    EXPECT_THAT(query("second"),
                ElementsAre(SMdnsDevice{"a.local", "10.0.0.1"},
                            SMdnsDevice{"c.local", "10.0.0.3"},
                            SMdnsDevice{"b.local", "10.0.0.2"}));
    first.join();
    EXPECT_THAT(ofFirst, ElementsAre(SMdnsDevice{"a.local", "10.0.0.1"}, SMdnsDevice{"c.local", "10.0.0.3"}));
    EXPECT_THAT(query("third"), ElementsAre(SMdnsDevice{"d.local", "10.0.0.4"}));
}

TEST_F(Mdns, ProgramRefusesWhatIsNoService)
{
    for (const std::string& name : {std::string(),
                                    std::string("."),
                                    std::string("hwenergy"),
                                    std::string("_x._tcp.local..com"),
                                    "_x._tcp." + std::string(64 << 10, 'a')})
    {
        const CCapturedLog log(Log::ELogLevel::Debug);
        EXPECT_THAT(Toolbox::QueryMdnsDevices(name, seconds(1), nullptr, WEBBACKEND_MDNS), IsEmpty());
        ASSERT_EQ(log.Messages().size(), 1U) << name.substr(0, 30);
        EXPECT_THAT(log.Messages()[0].text, testing::HasSubstr("webbackend-mdns failed with 1: "));
    }
}

TEST_F(Mdns, ProgramTellsHowItIsUsed)
{
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{},
                                                      {"_x._tcp.local."},
                                                      {"_x._tcp.local.", "0"},
                                                      {"_x._tcp.local.", "-1"},
                                                      {"_x._tcp.local.", "1s"},
                                                      {"_x._tcp.local.", "99999999999"},
                                                      {"_x._tcp.local.", "1", "2"}})
    {
        std::vector<std::string> command{WEBBACKEND_MDNS};
        command.insert(command.end(), arguments.begin(), arguments.end());
        const Toolbox::SProgramEnd end = Toolbox::RunProgram(command);
        EXPECT_EQ(end.status, 2);
        EXPECT_EQ(end.errors, "Usage: webbackend-mdns SERVICE_NAME MILLISECONDS\n");
    }
}

TEST_F(Mdns, InterruptionEndsTheSearchWithWhatWasFound)
{
    std::thread interrupting(
        [this]
        {
            AwaitFile("told");
            interruption.Interrupt();
        });
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_THAT(Query("echo 10.0.0.1 a.local\n: > told\nexec sleep 60\n"),
                ElementsAre(SMdnsDevice{"a.local", "10.0.0.1"}));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, seconds(30)) << "it ended by itself";
    interrupting.join();
}

} // namespace
