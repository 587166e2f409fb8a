#include "platform/toolbox/descriptor.h"
#include "platform/toolbox/interruption.h"
#include "platform/toolbox/modbustcpclient.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/privatemounts.h"
#include "tests/support/privatenetwork.h"
#include "tests/support/temporarydirectory.h"

namespace
{

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using Toolbox::CDescriptor;

const auto* const network = testing::AddGlobalTestEnvironment(new CPrivateNetwork);

/// A sanitizer on a busy machine may take its time.
constexpr milliseconds Allowance{1500};

/// Listens on a free port of the loopback. What it doesn't accept waits, as many as the backlog says.
class CPeer
{
public:
    explicit CPeer(int family = AF_INET, int backlog = 8)
        : socket(::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in6 address{};
        socklen_t size = family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
        address.sin6_family = static_cast<sa_family_t>(family);
        auto* const any = reinterpret_cast<sockaddr*>(&address);
        if (bind(socket.Get(), any, size) != 0 || listen(socket.Get(), backlog) != 0 ||
            getsockname(socket.Get(), any, &size) != 0)
        {
            throw std::system_error(errno, std::generic_category(), "a peer");
        }
        port = ntohs(address.sin6_port);
    }

    /// Takes the next connection, whether it is still there or not.
    void Accept() { connection.emplace(accept(socket.Get(), nullptr, nullptr)); }

    void Drop() { connection.reset(); }

    /// Waits for the other side to drop it.
    bool IsDropped() const
    {
        char byte = 0;
        return connection && recv(connection->Get(), &byte, 1, 0) == 0;
    }

    unsigned short Port() const { return port; }

private:
    const CDescriptor socket;
    std::optional<CDescriptor> connection;
    unsigned short port = 0;
};

/// Takes no connection any more and refuses none.
class CSilentPeer
{
public:
    CSilentPeer()
        : peer(AF_INET, 0)
    {
        // the queue of a listener without a backlog takes one connection
        EXPECT_TRUE(waiting.Init());
        EXPECT_EQ(waiting.Connect(), 0);
    }

    unsigned short Port() const { return peer.Port(); }

private:
    CPeer peer;
    CModbusTcpClient waiting{"127.0.0.1", peer.Port()};
};

int Connect(const std::string& address, unsigned short port)
{
    CModbusTcpClient client(address, port);
    return client.Init() ? client.Connect() : -2;
}

constexpr int NotInitialised = -2;
constexpr int NotConnected = -1;

TEST(ModbusTcpClient, ConnectsAndDropsTheConnectionAtItsEnd)
{
    CPeer peer;
    std::optional<CModbusTcpClient> client(std::in_place, "127.0.0.1", peer.Port());
    EXPECT_TRUE(client->Init());
    EXPECT_EQ(client->Connect(), 0);
    peer.Accept();

    client.reset();

    EXPECT_TRUE(peer.IsDropped());
}

TEST(ModbusTcpClient, ConnectsOverIPv6)
{
    const CPeer peer(AF_INET6);
    EXPECT_EQ(Connect("::1", peer.Port()), 0);
}

TEST(ModbusTcpClient, ConnectsToANameAndTriesEachOfItsAddresses)
{
    // "localhost" is ::1 too where hosts says so, and nobody listens there
    const CPeer peer;
    EXPECT_EQ(Connect("localhost", peer.Port()), 0);
}

TEST(ModbusTcpClient, SecondConnectDropsTheFirst)
{
    CPeer peer;
    CModbusTcpClient client("127.0.0.1", peer.Port());
    EXPECT_TRUE(client.Init());
    EXPECT_EQ(client.Connect(), 0);
    peer.Accept();
    EXPECT_EQ(client.Connect(), 0);
    EXPECT_TRUE(peer.IsDropped());
}

TEST(ModbusTcpClient, PeerThatRefusesIsAFailure)
{
    EXPECT_EQ(Connect("127.0.0.1", 502), NotConnected);
    EXPECT_EQ(Connect("127.0.0.1", 0), NotConnected);
    EXPECT_EQ(Connect("127.0.0.1", 65535), NotConnected);
}

TEST(ModbusTcpClient, PeerOutOfReachIsAFailure)
{
    // there is no route in the network of the test
    EXPECT_EQ(Connect("192.0.2.1", 502), NotConnected);
    EXPECT_EQ(Connect("2001:db8::1", 502), NotConnected);
}

TEST(ModbusTcpClient, PeerThatDropsHasTakenTheConnection)
{
    CPeer peer;
    std::thread dropping(
        [&peer]
        {
            peer.Accept();
            peer.Drop();
        });
    EXPECT_EQ(Connect("127.0.0.1", peer.Port()), 0);
    dropping.join();
}

TEST(ModbusTcpClient, SilentPeerTakesThreeSeconds)
{
    const CSilentPeer peer;
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(Connect("127.0.0.1", peer.Port()), NotConnected);
    EXPECT_GE(Clock::now() - start, CModbusTcpClient::LongestConnect);
    EXPECT_LT(Clock::now() - start, CModbusTcpClient::LongestConnect + Allowance);
}

TEST(ModbusTcpClient, InterruptionEndsTheWaitForASilentPeer)
{
    const CSilentPeer peer;
    Toolbox::CInterruption interruption;
    CModbusTcpClient client("127.0.0.1", peer.Port(), &interruption);
    EXPECT_TRUE(client.Init());
    interruption.Interrupt();
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(client.Connect(), NotConnected);
    EXPECT_LT(Clock::now() - start, CModbusTcpClient::LongestConnect);
}

TEST(ModbusTcpClient, InterruptionComesToAWaitUnderWay)
{
    const CSilentPeer peer;
    Toolbox::CInterruption interruption;
    CModbusTcpClient client("127.0.0.1", peer.Port(), &interruption);
    EXPECT_TRUE(client.Init());
    const Clock::time_point start = Clock::now();
    int status = 0;
    std::thread connecting([&] { status = client.Connect(); });
    // before or in the wait: either way it ends
    interruption.Interrupt();
    connecting.join();
    EXPECT_EQ(status, NotConnected);
    EXPECT_LT(Clock::now() - start, CModbusTcpClient::LongestConnect);
}

TEST(ModbusTcpClient, ConnectsWithDescriptorsBeyondThoseOfSelect)
{
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit before = limit;
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 2048);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    ASSERT_GT(limit.rlim_cur, 1100U);
    {
        const CPeer peer;
        std::vector<std::unique_ptr<CDescriptor>> others;
        while (others.empty() || others.back()->Get() <= FD_SETSIZE)
        {
            others.push_back(std::make_unique<CDescriptor>(open("/dev/null", O_RDONLY | O_CLOEXEC)));
        }
        EXPECT_EQ(Connect("127.0.0.1", peer.Port()), 0);
    }
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
}

TEST(ModbusTcpClient, AddressThatCanNotBeOneIsNotInitialised)
{
    const CPeer peer;
    for (const std::string& address : {std::string(),
                                       std::string("127.0.0.1\0", 10),
                                       std::string("127.0.0.1\0x", 11),
                                       std::string("\0", 1),
                                       std::string(64 << 10, 'a'),
                                       "127.0.0.1" + std::string(64 << 10, ' ')})
    {
        EXPECT_EQ(Connect(address, peer.Port()), NotInitialised) << address.size();
    }
}

TEST(ModbusTcpClient, OddAddressesAreNobodys)
{
    const CPeer peer;
    for (const std::string address : {"127.0.0.1 ",
                                      " 127.0.0.1",
                                      "127.0.0.1 x",
                                      "127.0.0.1:502",
                                      "127.0.0.1/8",
                                      "[::1]",
                                      "127.0.0.1234567890",
                                      "\xff\xfe",
                                      "caf\xc3\xa9",
                                      "%n%s",
                                      "-h",
                                      "a..b",
                                      "::1%none"})
    {
        EXPECT_EQ(Connect(address, peer.Port()), NotConnected) << address;
    }
    EXPECT_EQ(Connect(std::string(1024, 'a'), peer.Port()), NotConnected);
}

TEST(ModbusTcpClient, NameServerThatDoesNotAnswerIsGivenUpAfterASecond)
{
    const CTemporaryDirectory directory;
    directory.Write("resolv.conf", "nameserver 127.0.0.1\n");
    const CPrivateMounts mounts;
    ASSERT_EQ(
        mount((directory.Path() / "resolv.conf").c_str(), "/etc/resolv.conf", nullptr, MS_BIND, nullptr), 0);
    const CDescriptor nameServer(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(53);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(bind(nameServer.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);

    const Clock::time_point start = Clock::now();
    EXPECT_EQ(Connect("meter.example", 502), NotConnected);

    EXPECT_LT(Clock::now() - start, CModbusTcpClient::LongestConnect);
    // it has been asked
    char byte = 0;
    EXPECT_GT(recv(nameServer.Get(), &byte, 1, MSG_DONTWAIT), 0);
}

TEST(ModbusTcpClient, ConnectBeforeInitFails)
{
    const CPeer peer;
    CModbusTcpClient client("127.0.0.1", peer.Port());
    EXPECT_EQ(client.Connect(), NotConnected);
    CModbusTcpClient refused("", peer.Port());
    EXPECT_FALSE(refused.Init());
    EXPECT_EQ(refused.Connect(), NotConnected);
}

} // namespace
