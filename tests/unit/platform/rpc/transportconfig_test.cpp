#include "platform/rpc/transportconfig.h"

#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporarydirectory.h"

using testing::AllOf;
using testing::HasSubstr;
using testing::ThrowsMessage;

namespace
{

class TransportConfig : public testing::Test
{
protected:
    void Write(const std::string& contents) const { directory.Write("etc/iipc.json", contents); }
    Rpc::STransportConfig Read() const { return Rpc::ReadTransportConfig(Path()); }
    std::string Path() const { return directory.Root() + "etc/iipc.json"; }

    void ExpectRefused(const std::string& contents, const std::string& reason) const
    {
        Write(contents);
        EXPECT_THAT([this] { Read(); },
                    ThrowsMessage<std::runtime_error>(AllOf(HasSubstr(Path()), HasSubstr(reason))))
            << contents;
    }

    CTemporaryDirectory directory;
};

} // namespace

TEST_F(TransportConfig, PutsRelativeSocketsUnderTheRootAndLeavesOthersAlone)
{
    Write(R"({"Listen": "unix:run/webbackend.sock",
              "Services": {"NetM": "unix:/var/netm.sock", "Rfid": "localhost:9000"}})");

    const Rpc::STransportConfig config = Read();

    EXPECT_EQ(config.listen, "unix:" + directory.Root() + "run/webbackend.sock");
    EXPECT_EQ(config.AddressOf("NetM"), "unix:/var/netm.sock");
    EXPECT_EQ(config.AddressOf("Rfid"), "localhost:9000");
}

TEST_F(TransportConfig, RootWithoutSlashIsAPlainPrefix)
{
    directory.Write("stationetc/iipc.json", R"({"Listen": "unix:x.sock", "Services": {}})");
    const std::string root = directory.Root() + "station";

    EXPECT_EQ(Rpc::ReadTransportConfig(root + "etc/iipc.json").listen, "unix:" + root + "x.sock");
}

TEST_F(TransportConfig, MissingFileIsNamed)
{
    EXPECT_THAT([this] { Read(); },
                ThrowsMessage<std::runtime_error>(AllOf(HasSubstr(Path()), HasSubstr("cannot be read"))));
}

TEST_F(TransportConfig, WhatIsNoConfigurationIsRefusedWithTheReason)
{
    ExpectRefused("", "Line 1");
    ExpectRefused("{\n\"Listen\": ", "Line 2");
    ExpectRefused("[]", "an object");
    ExpectRefused(R"({"Listen": "unix:a"})", "an object");
    ExpectRefused(R"({"Listen": "unix:a", "Services": []})", "an object");
    ExpectRefused(R"({"Services": {}})", "\"Listen\" is missing or not a string");
    ExpectRefused(R"({"Listen": 1, "Services": {}})", "\"Listen\" is missing or not a string");
    ExpectRefused(R"({"Listen": "unix:a", "Services": {"NetM": null}})",
                  "\"NetM\" is missing or not a string");
    ExpectRefused(R"({"Listen": "somewhere", "Services": {}})", "neither unix:PATH nor HOST:PORT");
    ExpectRefused(R"({"Listen": "host:", "Services": {}})", "neither unix:PATH nor HOST:PORT");
    ExpectRefused(R"({"Listen": ":8080", "Services": {}})", "neither unix:PATH nor HOST:PORT");
    ExpectRefused(R"({"Listen": "host:http", "Services": {}})", "neither unix:PATH nor HOST:PORT");
    ExpectRefused(R"({"Listen": "unix:", "Services": {}})", "empty or too long");
    ExpectRefused(R"({"Listen": "unix:/)" + std::string(107, 'x') + R"(", "Services": {}})",
                  "empty or too long");
}

TEST_F(TransportConfig, UnknownServiceIsNamed)
{
    Write(R"({"Listen": "unix:a", "Services": {"NetM": "unix:b"}})");
    const Rpc::STransportConfig config = Read();

    EXPECT_THAT([&] { config.AddressOf("Rfid"); },
                ThrowsMessage<std::runtime_error>(HasSubstr("service \"Rfid\" is missing")));
}
