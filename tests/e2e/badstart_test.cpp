#include <signal.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/childprocess.h"
#include "tests/support/stationroot.h"

using testing::HasSubstr;

namespace
{

/// Starts that must fail: the terminate handler says why, and the process aborts.
class BadStart : public testing::Test
{
protected:
    void ExpectAbort(const std::vector<std::string>& reasons)
    {
        CChildProcess process({WEBBACKEND_PROCESS, "-r", root.Root()});
        EXPECT_EQ(process.AwaitEnd().signal, SIGABRT);
        const std::string errors = process.Errors();
        EXPECT_THAT(errors, HasSubstr("Uncaught exception of type 'std::runtime_error' with message: '"));
        for (const std::string& reason : reasons)
        {
            EXPECT_THAT(errors, HasSubstr(reason));
        }
        EXPECT_THAT(errors, testing::EndsWith("Aborting process.\n"));
    }

    CStationRoot root;
};

} // namespace

TEST_F(BadStart, MissingTransportConfiguration)
{
    std::filesystem::remove(root.Path() / "etc/iipc.json");
    ExpectAbort({root.Root() + "etc/iipc.json", "cannot be read"});
}

TEST_F(BadStart, TransportConfigurationThatIsNoJson)
{
    root.Write("etc/iipc.json", "Listen = nowhere");
    ExpectAbort({root.Root() + "etc/iipc.json", "Line 1"});
}

TEST_F(BadStart, TransportConfigurationWithoutAService)
{
    root.Write("etc/iipc.json",
               R"({"Listen": "unix:run/a.sock", "Services": {"Diagnostics": "unix:run/d.sock"}})");
    ExpectAbort({root.Root() + "etc/iipc.json", "service \"BoardControl\" is missing"});
}

TEST_F(BadStart, MeterServiceIsNeededWhereTheHardwareHasAMeterOnly)
{
    root.Write("etc/iipc.json", R"({"Listen": "unix:run/a.sock", "Services": {
        "BoardControl": "unix:a", "CurrentControl": "unix:a", "Diagnostics": "unix:a", "Feedback": "unix:a",
        "NetM": "unix:a", "Rfid": "unix:a", "SessionManager": "unix:a"}})");
    root.SetDefault("hwinfo", "HwHasMeter", true);
    ExpectAbort({"service \"MeterService\" is missing"});

    root.RemoveDefault("hwinfo", "HwHasMeter");
    CChildProcess process({WEBBACKEND_PROCESS, "-vv", "-r", root.Root()});
    ASSERT_TRUE(process.AwaitErrorLine("State Uninitialized: entry"));
    process.Signal(SIGINT);
    EXPECT_EQ(process.AwaitEnd().status, 0) << process.Errors();
}

TEST_F(BadStart, ListenAddressThatCannotBeHad)
{
    std::filesystem::remove_all(root.Path() / "run");
    ExpectAbort({"Cannot listen at unix:" + root.Root() + "run/webbackend.sock"});
}

TEST_F(BadStart, EachConfigurationFileThatIsNoJson)
{
    for (const std::string name : {"network",
                                   "secrets",
                                   "rfid_standalone",
                                   "ocpp_backoffices",
                                   "hwinfo",
                                   "fwinfo",
                                   "settings",
                                   "local_charging_schedules"})
    {
        const CStationRoot fresh;
        fresh.Write("etc/config/" + name + ".json", "{\n\"Key\": \n");
        CChildProcess process({WEBBACKEND_PROCESS, "-r", fresh.Root()});
        EXPECT_EQ(process.AwaitEnd().signal, SIGABRT);
        EXPECT_THAT(process.Errors(), HasSubstr(fresh.Root() + "etc/config/" + name + ".json"));
    }
}

TEST_F(BadStart, WrittenConfigurationFileThatIsNoObject)
{
    root.Write("data/config/settings.json", "[1]");
    ExpectAbort({root.Root() + "data/config/settings.json", "object"});
}

TEST_F(BadStart, SigintBeforeTheStateMachineRunsHasItsDefaultEffect)
{
    // a pipe in a file's place holds the construction up for as long as it takes
    std::filesystem::remove(root.Path() / "etc/iipc.json");
    ASSERT_EQ(mkfifo((root.Root() + "etc/iipc.json").c_str(), 0600), 0);
    CChildProcess process({WEBBACKEND_PROCESS, "-vv", "-r", root.Root()});
    ASSERT_TRUE(process.AwaitErrorLine("CWebbackend::CWebbackend"));

    process.Signal(SIGINT);

    EXPECT_EQ(process.AwaitEnd().signal, SIGINT);
}
