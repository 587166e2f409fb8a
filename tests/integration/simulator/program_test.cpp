#include "contracts/station.grpc.pb.h"

#include <grpcpp/create_channel.h>
#include <grpcpp/grpcpp.h>

#include <signal.h>

#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/childprocess.h"
#include "tests/support/stationroot.h"
#include "tests/support/steeringclient.h"

using namespace std::chrono_literals;

namespace
{

/// The program as a process of its own, in a station's root of its own.
class SimulatorProgram : public testing::TestWithParam<int>
{
protected:
    void Start(const std::vector<std::string>& moreArguments = {})
    {
        std::vector<std::string> command{
            WEBBACKEND_STATIONSIM, "-r", root.Root(), "--steer-port", "0", "--download-port", "0"};
        command.insert(command.end(), moreArguments.begin(), moreArguments.end());
        program = std::make_unique<CChildProcess>(command);
    }

    /// The port is in the line that the program logs when it is ready.
    CSteeringClient Steering()
    {
        const std::string mark = "Steering on 127.0.0.1:";
        if (!program->AwaitErrorLine(mark))
        {
            throw std::runtime_error("the program does not get ready");
        }
        const std::string errors = program->Errors();
        return CSteeringClient(
            static_cast<std::uint16_t>(std::stoi(errors.substr(errors.find(mark) + mark.size()))));
    }

    grpc::Status ScanWlan() const
    {
        grpc::ClientContext context;
        ipc::MScanWlanResult scan;
        return ipc::NetM::NewStub(
                   grpc::CreateChannel(root.Address("NetM"), grpc::InsecureChannelCredentials()))
            ->ScanWlan(&context, ipc::MVoid(), &scan);
    }

    CStationRoot root;
    std::unique_ptr<CChildProcess> program;
};

} // namespace

TEST_P(SimulatorProgram, EndsWithStatusZeroAtASignalWithCallsHanging)
{
    Start();
    const CSteeringClient steering = Steering();
    steering.Post("/fault", R"({"Service": "NetM", "Operation": "ScanWlan", "Hang": true})");
    auto hanging = std::async(std::launch::async, [this] { return ScanWlan(); });
    steering.AwaitCall("NetM", "ScanWlan");
    program->Signal(GetParam());
    EXPECT_EQ(program->AwaitEnd(5s).status, 0);
    EXPECT_FALSE(hanging.get().ok());
}

INSTANTIATE_TEST_SUITE_P(Signals, SimulatorProgram, testing::Values(SIGINT, SIGTERM));

TEST_F(SimulatorProgram, RunsItsScript)
{
    root.Write("steps.json",
               R"([{"After": 0, "Post": "/connector", "Body": {"State": 4}},
                   {"After": 0.1, "Post": "/connector", "Body": {"State": 11}}])");
    Start({"--script", (root.Path() / "steps.json").string()});
    const CSteeringClient steering = Steering();
    ASSERT_TRUE(program->AwaitErrorLine("Script step 2: /connector"));
    EXPECT_EQ(steering.Get("/station").body["Connector"]["State"], 11);
}

TEST_F(SimulatorProgram, StartsWithItsTimeFactor)
{
    Start({"--time-factor", "1440"});
    EXPECT_EQ(Steering().Get("/time").body["Factor"], 1440);
}

TEST_F(SimulatorProgram, TellsWhatIsWrongWithItsScript)
{
    root.Write("steps.json", R"([{"After": 0, "Post": "/nowhere"}])");
    Start({"--script", (root.Path() / "steps.json").string()});
    EXPECT_EQ(program->AwaitEnd().status, 1);
    EXPECT_NE(program->Errors().find("there is no POST /nowhere"), std::string::npos);
}

TEST_F(SimulatorProgram, TellsWhichServiceTheConfigurationLacks)
{
    root.Write("etc/iipc.json", R"({"Listen": "unix:run/w.sock", "Services": {"NetM": "unix:run/n.sock"}})");
    Start();
    EXPECT_EQ(program->AwaitEnd().status, 1);
    EXPECT_NE(program->Errors().find("\"BoardControl\" is missing"), std::string::npos);
}

TEST_F(SimulatorProgram, WrongCommandLineHasAStatusOfItsOwn)
{
    Start({"--nonsense"});
    EXPECT_EQ(program->AwaitEnd().status, 2);
    EXPECT_NE(program->Errors().find("usage: stationsim"), std::string::npos);
}

TEST_F(SimulatorProgram, HelpIsWrittenToStandardOutput)
{
    Start({"--help"});
    EXPECT_EQ(program->AwaitEnd().status, 0);
    EXPECT_EQ(program->Output().find("usage: stationsim"), 0U);
}
