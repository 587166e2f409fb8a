#include "src/websocket/broadcasters/netmstatusupdate.h"

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/faketopic.h"
#include "tests/fakes/mockservices.h"
#include "tests/support/capturedlog.h"
#include "tests/support/runtogether.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StrictMock;
using testing::UnorderedElementsAre;
using Level = Log::ELogLevel;
using Line = CCapturedLog::SLine;

namespace
{

ipc::MNetStatus Status(int interface, int status = 0)
{
    ipc::MNetStatus message;
    message.set_interface(static_cast<ipc::EIfName>(interface));
    message.set_status(static_cast<ipc::ENetStatus>(status));
    return message;
}

class NetMStatusUpdate : public testing::Test
{
protected:
    const std::shared_ptr<CFakeTopic> topic = std::make_shared<CFakeTopic>();
    const std::shared_ptr<StrictMock<CMockNetM>> netM = std::make_shared<StrictMock<CMockNetM>>();
    std::unique_ptr<CNetMStatusUpdateBroadcaster> broadcaster =
        std::make_unique<CNetMStatusUpdateBroadcaster>(topic, netM);
};

} // namespace

// ------------------------------------------------------------------------------------------- the event

TEST_F(NetMStatusUpdate, BroadcastsAllThatTheMessageHas)
{
    ipc::MNetStatus status = Status(4, 4);
    status.set_signal_strength(-71);
    status.mutable_net_properties()->set_ipv4_addr("192.0.2.50");
    status.mutable_net_properties()->set_ipv4_netmask("255.255.255.0");
    status.mutable_net_properties()->set_gateway("192.0.2.1");
    status.mutable_net_dns()->set_preferred_dns_server("1.1.1.1");
    status.mutable_net_dns()->set_alternative_dns_server("9.9.9.9");
    status.mutable_lte_info()->set_carrier("Carrier");
    status.mutable_lte_info()->set_technology("LTE-M");
    status.mutable_lte_info()->set_iccid("1");
    status.mutable_lte_info()->set_imsi("2");
    status.mutable_lte_info()->set_imei("3");

    netM->NetworkStatus(status);

    EXPECT_THAT(
        topic->TakeBroadcasts(),
        ElementsAre(
            R"({"interface":"EIfNameLte",)"
            R"("lteInfo":{"carrier":"Carrier","iccid":"1","imei":"3","imsi":"2","technology":"LTE-M"},)"
            R"("netDns":{"alternativeDnsServer":"9.9.9.9","preferredDnsServer":"1.1.1.1"},)"
            R"("netProperties":{"gateway":"192.0.2.1","ipv4Addr":"192.0.2.50","ipv4Netmask":"255.255.255.0"},)"
            R"("signalStrength":-71,"status":"ENetStatusConnected"})"));
}

TEST_F(NetMStatusUpdate, LeavesOutWhatTheMessageLacks)
{
    netM->NetworkStatus(Status(1, 2));
    EXPECT_THAT(
        topic->TakeBroadcasts(),
        ElementsAre(
            R"({"interface":"EIfNameEthernet","signalStrength":0,"status":"ENetStatusDisconnected"})"));
}

TEST_F(NetMStatusUpdate, ShowsEachOptionalPartByItself)
{
    ipc::MNetStatus properties = Status(2);
    properties.mutable_net_properties();
    ipc::MNetStatus dns = Status(2);
    dns.mutable_net_dns();
    ipc::MNetStatus lte = Status(2);
    lte.mutable_lte_info();
    netM->NetworkStatus(properties);
    netM->NetworkStatus(dns);
    netM->NetworkStatus(lte);
    EXPECT_THAT(
        topic->TakeBroadcasts(),
        ElementsAre(
            R"({"interface":"EIfNameWlan","netProperties":{"gateway":"","ipv4Addr":"","ipv4Netmask":""},)"
            R"("signalStrength":0,"status":"ENetStatusUnknown"})",
            R"({"interface":"EIfNameWlan",)"
            R"("netDns":{"alternativeDnsServer":"","preferredDnsServer":""},)"
            R"("signalStrength":0,"status":"ENetStatusUnknown"})",
            R"({"interface":"EIfNameWlan",)"
            R"("lteInfo":{"carrier":"","iccid":"","imei":"","imsi":"","technology":""},)"
            R"("signalStrength":0,"status":"ENetStatusUnknown"})"));
}

TEST_F(NetMStatusUpdate, HasNoWordForAStatusWithoutAName)
{
    netM->NetworkStatus(Status(5, 77));
    EXPECT_THAT(topic->TakeBroadcasts(),
                ElementsAre(R"({"interface":"EIfNamePlc","signalStrength":0,"status":""})"));
}

TEST_F(NetMStatusUpdate, BroadcastsTheInterfacesOneToFiveOnly)
{
    CCapturedLog log;
    for (int interface = -1; interface <= 7; ++interface)
    {
        netM->NetworkStatus(Status(interface));
    }
    EXPECT_THAT(topic->TakeBroadcasts(),
                ElementsAre(HasSubstr("EIfNameEthernet"),
                            HasSubstr("EIfNameWlan"),
                            HasSubstr("EIfNameAccessPoint"),
                            HasSubstr("EIfNameLte"),
                            HasSubstr("EIfNamePlc")));
    EXPECT_THAT(topic->Subscribe(), SizeIs(5));
}

TEST_F(NetMStatusUpdate, LogsAnInterfaceThatItDrops)
{
    const CCapturedLog log;
    netM->NetworkStatus(Status(0));
    netM->NetworkStatus(Status(6));
    EXPECT_THAT(
        log.Messages(),
        ElementsAre(
            Line{Level::Debug, "Received interface status update for unknown or uninteresting interface 0"},
            Line{Level::Debug, "Received interface status update for unknown or uninteresting interface 6"}));
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
    EXPECT_THAT(topic->Subscribe(), IsEmpty());
}

// ------------------------------------------------------------------------------------------- a new
// subscriber

TEST_F(NetMStatusUpdate, SendsANewSubscriberTheLastOfEachKnownInterface)
{
    netM->NetworkStatus(Status(1, 3));
    netM->NetworkStatus(Status(2, 2));
    netM->NetworkStatus(Status(1, 4));
    topic->TakeBroadcasts();
    EXPECT_THAT(topic->Subscribe(),
                UnorderedElementsAre(
                    R"({"interface":"EIfNameEthernet","signalStrength":0,"status":"ENetStatusConnected"})",
                    R"({"interface":"EIfNameWlan","signalStrength":0,"status":"ENetStatusDisconnected"})"));
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
}

TEST_F(NetMStatusUpdate, SendsANewSubscriberNothingBeforeAnInterfaceHasReported)
{
    EXPECT_THAT(topic->Subscribe(), IsEmpty());
}

TEST_F(NetMStatusUpdate, LogsASubscriptionWithoutAReplyCallable)
{
    netM->NetworkStatus(Status(1));
    const CCapturedLog log;
    topic->OnSubscribe({});
    EXPECT_THAT(log.Messages(),
                ElementsAre(Line{Level::Debug,
                                 "OnSubscribe callback was not provided with a reply callback object."}));
}

TEST_F(NetMStatusUpdate, LeavesUnsubscriptionsAlone)
{
    EXPECT_FALSE(topic->OnUnsubscribe);
}

// ------------------------------------------------------------------------------------------- order, locks

TEST_F(NetMStatusUpdate, StoresBeforeItBroadcastsAndBroadcastsWithoutItsLock)
{
    std::vector<std::string> replies;
    topic->onBroadcast = [&] { replies = topic->Subscribe(); };
    netM->NetworkStatus(Status(1, 4));
    EXPECT_THAT(replies, ElementsAre(HasSubstr("ENetStatusConnected")));
}

TEST_F(NetMStatusUpdate, LetsANewerStatusWaitForASubscriberThatIsBeingServed)
{
    netM->NetworkStatus(Status(1, 3));
    topic->TakeBroadcasts();
    std::future<void> newer;
    topic->OnSubscribe(
        [&](const Json::Value&)
        {
            newer = std::async(std::launch::async, [this] { netM->NetworkStatus(Status(1, 4)); });
            EXPECT_EQ(newer.wait_for(20ms), std::future_status::timeout);
            EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
        });
    newer.get();
    EXPECT_THAT(topic->TakeBroadcasts(), ElementsAre(HasSubstr("ENetStatusConnected")));
}

TEST_F(NetMStatusUpdate, TakesStatusesWhileSubscribersCome)
{
    RunTogether(4,
                [this](int number)
                {
                    for (int turn = 0; turn < 100; ++turn)
                    {
                        if (number % 2 == 0)
                        {
                            netM->NetworkStatus(Status(1 + turn % 5, turn % 6));
                        }
                        else
                        {
                            topic->Subscribe();
                        }
                    }
                });
    EXPECT_THAT(topic->TakeBroadcasts(), SizeIs(200));
    EXPECT_THAT(topic->Subscribe(), SizeIs(5));
}

// ------------------------------------------------------------------------------------------- life

TEST_F(NetMStatusUpdate, LogsItsConstruction)
{
    const CCapturedLog log;
    const CNetMStatusUpdateBroadcaster another(topic, netM);
    EXPECT_THAT(log.Messages(),
                ElementsAre(Line{Level::Trace, "CNetMStatusUpdateBroadcaster::CNetMStatusUpdateBroadcaster"},
                            Line{Level::Trace, "CNetMStatusUpdateBroadcaster::ConnectService"}));
}

TEST_F(NetMStatusUpdate, DoesNothingWhenItIsGone)
{
    netM->NetworkStatus(Status(1));
    topic->TakeBroadcasts();
    broadcaster.reset();
    netM->NetworkStatus(Status(2));
    EXPECT_THAT(topic->TakeBroadcasts(), IsEmpty());
    EXPECT_THAT(topic->Subscribe(), IsEmpty());
    EXPECT_EQ(topic.use_count(), 1);
    EXPECT_EQ(netM.use_count(), 1);
}

TEST_F(NetMStatusUpdate, EndsUndisturbedWhatIsUnderWayWhenItGoes)
{
    std::promise<void> hasBegun;
    std::promise<void> letGo;
    netM->NetworkStatus(Status(1));
    std::thread subscribing(
        [&]
        {
            topic->OnSubscribe(
                [&](const Json::Value&)
                {
                    hasBegun.set_value();
                    letGo.get_future().wait();
                });
        });
    hasBegun.get_future().wait();
    broadcaster.reset();
    // all that it needs to its end
    EXPECT_GT(topic.use_count(), 1);
    letGo.set_value();
    subscribing.join();
    EXPECT_EQ(topic.use_count(), 1);
}
