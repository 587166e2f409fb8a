#include <json/value.h>

#include <signal.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "tests/e2e/stationtest.h"
#include "tests/support/jsontext.h"
#include "tests/support/neighbour.h"

namespace
{

using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::Contains;
using testing::ElementsAre;
using testing::UnorderedElementsAre;
using Clock = std::chrono::steady_clock;

constexpr seconds ScanTime{5};
constexpr seconds ConnectTime{3};

/// What a busy machine may add. Nothing here is to take so long by itself.
constexpr seconds Allowance{4};

SHttpResponse Get(const std::string& path)
{
    return HttpRequest(RestPort, "GET", path, LoggedIn);
}

/// Hostnames and addresses, in the answer's order.
std::vector<std::string> Devices(const SHttpResponse& response)
{
    EXPECT_EQ(response.status, 200) << response.body;
    std::vector<std::string> devices;
    const Json::Value answer = Parse(response.body);
    for (const Json::Value& device : answer["Devices"])
    {
        EXPECT_EQ(device.size(), 2U);
        devices.push_back(device["Hostname"].asString() + ' ' + device["IpAddress"].asString());
    }
    return devices;
}

std::string Peer(const std::string& address, int port)
{
    return R"({"Address": ")" + address + R"(", "Port": )" + std::to_string(port) + "}";
}

bool IsAvailable(const std::string& address, int port)
{
    const SHttpResponse response =
        HttpRequest(RestPort, "POST", "/network/verifymodbustcpconn", LoggedInWithJson, Peer(address, port));
    EXPECT_EQ(response.status, 200);
    return Parse(response.body)["Available"].asBool();
}

/// Process and station beside a neighbour on the network.
class NetworkPeers : public StationTest
{
protected:
    std::unique_ptr<CChildProcess> StartMdnsPeers(const std::vector<std::string>& kinds) const
    {
        std::vector<std::string> program{"/usr/bin/python3", MDNS_PEER, CNeighbour::TheirEnd};
        program.insert(program.end(), kinds.begin(), kinds.end());
        return neighbour.Start(program);
    }

    /// The command of an avahi-daemon with files of its own, that offers a P1 meter and another product.
    std::vector<std::string> AvahiDaemon(const std::string& hostname) const
    {
        const std::string directory = "avahi-" + hostname;
        const std::string other = "energysocket-" + std::to_string(hostname.size());
        const std::string path = (root.Path() / directory).string();
        root.Write(directory + "/daemon.conf",
                   "[server]\nhost-name=" + hostname + "\nenable-dbus=no\n" +
                       "[publish]\npublish-workstation=no\npublish-hinfo=no\n");
        root.Write(directory + "/hosts", "10.9.0.30 " + other + ".local\n");
        root.Write(
            directory + "/services/meter.service",
            "<service-group><name>Meter " + hostname +
                "</name><service><type>_hwenergy._tcp</type><port>80</port></service></service-group>");
        root.Write(directory + "/services/socket.service",
                   "<service-group><name>Socket " + hostname +
                       "</name><service><type>_hwenergy._tcp</type><host-name>" + other +
                       ".local</host-name><port>80</port></service></service-group>");
        return {
            "/usr/bin/setpriv",
            "--pdeathsig",
            "KILL",
            "/usr/bin/unshare",
            "--mount",
            "/bin/sh",
            "-c",
            "mount -t tmpfs run /run && mkdir /run/avahi-daemon && cd '" + path +
                "' && mount --bind hosts /etc/avahi/hosts && mount --bind services /etc/avahi/services && "
                "exec /usr/sbin/avahi-daemon --no-drop-root --no-chroot --no-rlimits --no-proc-title -f '" +
                path + "/daemon.conf'"};
    }

    /// Station and process, up to "Enabled", with a process that tells of each handler that begins.
    void StartAllTelling()
    {
        StartStation();
        StartProcess({"-v", "-v"});
        station.AwaitProcessState(ReportEnabled);
    }

    /// Sends a request and waits until its handler has begun. Else the next connection could fall on the same
    /// thread of the server, and wait for this one.
    std::unique_ptr<CRawHttp> Begin(const std::string& request, const std::string& handler)
    {
        const std::size_t before = Count(handler);
        auto client = std::make_unique<CRawHttp>(RestPort);
        client->Send(request);
        const Clock::time_point end = Clock::now() + TestPatience;
        while (Count(handler) == before && Clock::now() < end)
        {
            std::this_thread::yield();
        }
        return client;
    }

    std::unique_ptr<CRawHttp> BeginScan()
    {
        return Begin(HttpRequestText("GET", "/network/scanhomewizard", LoggedIn),
                     "CNetworkApi::ScanHomeWizard");
    }

    std::unique_ptr<CRawHttp> BeginTest(const std::string& address)
    {
        return Begin(
            HttpRequestText("POST", "/network/verifymodbustcpconn", LoggedInWithJson, Peer(address, 502)),
            "CModbusTcpClient::Connect");
    }

    /// How often the process has written this.
    std::size_t Count(const std::string& text) const
    {
        std::size_t count = 0;
        const std::string errors = process->Errors();
        for (std::size_t place = errors.find(text); place != std::string::npos;
             place = errors.find(text, place + 1))
        {
            ++count;
        }
        return count;
    }

    void ExpectEnd()
    {
        process->Signal(SIGINT);
        EXPECT_EQ(process->AwaitEnd().status, 0) << process->Errors();
    }

    const CNeighbour neighbour;
};

constexpr const char* BothEstablished = "Service \"Socket";

} // namespace

TEST_F(NetworkPeers, ScanFindsMetersOfAllKindsWhileOthersAreServed)
{
    const auto avahi = neighbour.Start(AvahiDaemon("p1meter-3c39e7"), BothEstablished);
    CChildProcess ours(AvahiDaemon("station"));
    ASSERT_TRUE(ours.AwaitErrorLine(BothEstablished)) << ours.Errors();
    const auto peers = StartMdnsPeers({"late", "twice", "six", "link", "both", "bare", "odd", "other"});
    StartAllTelling();
    const Clock::time_point start = Clock::now();
    const std::unique_ptr<CRawHttp> first = BeginScan();
    // in the time in which responders don't repeat what the first has asked for
    std::this_thread::sleep_until(start + milliseconds(300));
    const std::unique_ptr<CRawHttp> second = BeginScan();
    const Clock::time_point testStart = Clock::now();
    const std::unique_ptr<CRawHttp> testing = BeginTest(CNeighbour::SilentAddress);

    CRawHttp third(RestPort);
    int answers = 0;
    while (Clock::now() - testStart < ConnectTime)
    {
        EXPECT_EQ(third.Request("GET", "/network/scanwlan", LoggedIn).status, 200);
        ++answers;
    }
    EXPECT_GT(answers, 10);

    EXPECT_EQ(testing->Receive().body, "{\n\t\"Available\" : false\n}\n");
    EXPECT_GE(Clock::now() - testStart, ConnectTime);
    EXPECT_LT(Clock::now() - testStart, ConnectTime + Allowance);
    for (CRawHttp* const scan : {first.get(), second.get()})
    {
        const std::vector<std::string> devices = Devices(scan->Receive());
        EXPECT_THAT(devices,
                    UnorderedElementsAre("p1meter-3c39e7.local 10.9.0.2",
                                         "p1meter-late.local 10.9.0.11",
                                         "p1meter-twice.local 10.9.0.12",
                                         "p1meter-six.local fd00:9::13",
                                         "p1meter-link.local fe80::14%" + std::string(CNeighbour::OurEnd),
                                         "p1meter-both.local 10.9.0.15",
                                         "p1meter-bare.local 10.9.0.16",
                                         "p1meter-\\034\\\\\\027.local 10.9.0.17"));
        ASSERT_FALSE(devices.empty());
        EXPECT_EQ(devices.back(), "p1meter-late.local 10.9.0.11");
    }
    EXPECT_GE(Clock::now() - start, ScanTime);
    EXPECT_LT(Clock::now() - start, ScanTime + Allowance);
    ExpectEnd();
}

TEST_F(NetworkPeers, HostilePacketsNeitherEndNorHoldUpTheProcess)
{
    const auto peers = StartMdnsPeers({"hostile"});
    StartAll();

    const Clock::time_point start = Clock::now();
    const SHttpResponse response = Get("/network/scanhomewizard");

    EXPECT_LT(Clock::now() - start, ScanTime + Allowance);
    EXPECT_THAT(Devices(response), Contains("p1meter-good.local 10.9.0.18"));
    EXPECT_EQ(Get("/system/health").status, 204);
    ExpectEnd();
}

TEST_F(NetworkPeers, TenThousandRecordsNeitherEndNorHoldUpTheProcess)
{
    const auto peers = StartMdnsPeers({"many"});
    StartAll();

    const Clock::time_point start = Clock::now();
    const SHttpResponse response = Get("/network/scanhomewizard");

    EXPECT_LT(Clock::now() - start, ScanTime + Allowance);
    EXPECT_THAT(Devices(response), ElementsAre("p1meter-first.local 10.9.0.19"));
    ExpectEnd();
}

TEST_F(NetworkPeers, EndOfTheProcessDoesNotWaitForSearches)
{
    const auto peers = StartMdnsPeers({"both"});
    StartAllTelling();
    const Clock::time_point start = Clock::now();
    const std::vector<std::unique_ptr<CRawHttp>> waiting = [this]
    {
        std::vector<std::unique_ptr<CRawHttp>> clients;
        clients.push_back(BeginScan());
        clients.push_back(BeginScan());
        clients.push_back(BeginTest(CNeighbour::SilentAddress));
        clients.push_back(BeginTest(CNeighbour::SilentAddress));
        return clients;
    }();

    ExpectEnd();

    EXPECT_LT(Clock::now() - start, ConnectTime);
}

TEST_F(NetworkPeers, SixthRequestWaitsForOneOfFive)
{
    StartAll();
    station.Post("/fault", R"({"Service": "NetM", "Operation": "ScanWlan", "Hang": true})");
    std::vector<std::unique_ptr<CRawHttp>> waiting;
    for (int number = 0; number < 5; ++number)
    {
        const std::uint64_t before = station.LastCall();
        waiting.push_back(std::make_unique<CRawHttp>(RestPort));
        waiting.back()->Send(HttpRequestText("GET", "/network/scanwlan", LoggedIn));
        // else two connections could fall on one thread
        station.AwaitCall("NetM", "ScanWlan", before);
    }

    CRawHttp sixth(RestPort, milliseconds(500));
    sixth.Send(HttpRequestText("GET", "/system/health"));
    EXPECT_THROW(sixth.Receive(), std::runtime_error);
    station.Post("/service", R"({"Service": "NetM", "State": "down"})");

    for (const auto& client : waiting)
    {
        EXPECT_EQ(client->Receive().status, 500);
    }
    EXPECT_EQ(Get("/system/health").status, 204);
    ExpectEnd();
}

TEST_F(NetworkPeers, ModbusServersAreAvailableWhereTheyListen)
{
    const auto server = neighbour.Start({MODBUS_SERVER, "1502"});
    const auto dropping = neighbour.Start({MODBUS_SERVER, "1503", "drop"});
    StartAll();

    EXPECT_TRUE(IsAvailable("10.9.0.2", 1502));
    EXPECT_TRUE(server->AwaitErrorLine("closed")) << "The connection stays";
    EXPECT_TRUE(IsAvailable("10.9.0.2", 1502 + 65536));
    EXPECT_TRUE(IsAvailable("fd00:9::2", 1502));
    EXPECT_TRUE(IsAvailable("fe80::2%" + std::string(CNeighbour::OurEnd), 1502));
    EXPECT_TRUE(IsAvailable("10.9.0.2", 1503));
    EXPECT_FALSE(IsAvailable("10.9.0.2", 1504)) << "refuses";
    EXPECT_FALSE(IsAvailable("10.9.0.2", 0));
    EXPECT_FALSE(IsAvailable("10.10.0.2", 1502)) << "no route";
    ExpectEnd();
}

TEST_F(NetworkPeers, ScanWithoutANetworkFindsNothing)
{
    {
        // takes the link of the test with it
        CChildProcess down({"/usr/sbin/ip", "link", "delete", CNeighbour::OurEnd});
        ASSERT_EQ(down.AwaitEnd().status, 0);
    }
    StartAll();
    EXPECT_THAT(Devices(Get("/network/scanhomewizard")), testing::IsEmpty());
    ExpectEnd();
}
