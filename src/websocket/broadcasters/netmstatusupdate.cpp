#include "src/websocket/broadcasters/netmstatusupdate.h"

#include "src/websocket/broadcasters/whilealive.h"

#include "platform/log/log.h"

#include <mutex>
#include <unordered_map>
#include <utility>

namespace
{

constexpr int FirstInterface = 1;
constexpr int LastInterface = 5;

Json::Value ConstructProperties(const ipc::MNetStatus::MNetProperties& properties)
{
    Json::Value json;
    json["ipv4Addr"] = properties.ipv4_addr();
    json["ipv4Netmask"] = properties.ipv4_netmask();
    json["gateway"] = properties.gateway();
    return json;
}

Json::Value ConstructDns(const ipc::MNetStatus::MNetDns& dns)
{
    Json::Value json;
    json["preferredDnsServer"] = dns.preferred_dns_server();
    json["alternativeDnsServer"] = dns.alternative_dns_server();
    return json;
}

Json::Value ConstructLteInfo(const ipc::MNetStatus::MLteInfo& info)
{
    Json::Value json;
    json["carrier"] = info.carrier();
    json["technology"] = info.technology();
    json["iccid"] = info.iccid();
    json["imsi"] = info.imsi();
    json["imei"] = info.imei();
    return json;
}

Json::Value ConstructMessage(const ipc::MNetStatus& status)
{
    Json::Value message;
    message["interface"] = ipc::EIfName_Name(status.interface());
    message["status"] = ipc::ENetStatus_Name(status.status());
    message["signalStrength"] = status.signal_strength();
    if (status.has_net_properties())
    {
        message["netProperties"] = ConstructProperties(status.net_properties());
    }
    if (status.has_net_dns())
    {
        message["netDns"] = ConstructDns(status.net_dns());
    }
    if (status.has_lte_info())
    {
        message["lteInfo"] = ConstructLteInfo(status.lte_info());
    }
    return message;
}

} // namespace

struct CNetMStatusUpdateBroadcaster::SCore
{
    SCore(std::shared_ptr<ITopic> topic, std::shared_ptr<INetM> netM)
        : topic(std::move(topic))
        , netM(std::move(netM))
    {
    }

    void HandleStatus(const ipc::MNetStatus& status)
    {
        const ipc::EIfName interface = status.interface();
        if (interface < FirstInterface || interface > LastInterface)
        {
            LOG_DEBUG("Received interface status update for unknown or uninteresting interface {}",
                      static_cast<int>(interface));
            return;
        }
        const Json::Value message = ConstructMessage(status);
        {
            const std::lock_guard lock(mutex);
            lastMessages[interface] = message;
        }
        topic->Broadcast(message);
    }

    void HandleSubscription(const ITopic::Reply& reply)
    {
        if (!reply)
        {
            LOG_DEBUG("OnSubscribe callback was not provided with a reply callback object.");
            return;
        }
        // held while sending: no newer status overtakes the one that is being sent
        const std::lock_guard lock(mutex);
        for (const auto& [interface, message] : lastMessages)
        {
            reply(message);
        }
    }

    // Constant after construction
    const std::shared_ptr<ITopic> topic;
    const std::shared_ptr<INetM> netM;

    std::mutex mutex;

    // Guarded by mutex
    std::unordered_map<ipc::EIfName, Json::Value> lastMessages;
};

CNetMStatusUpdateBroadcaster::CNetMStatusUpdateBroadcaster(std::shared_ptr<ITopic> topic,
                                                           std::shared_ptr<INetM> netM)
    : core(std::make_shared<SCore>(std::move(topic), std::move(netM)))
{
    LOG_ENTRY(CNetMStatusUpdateBroadcaster, "CNetMStatusUpdateBroadcaster");
    ConnectService();
}

void CNetMStatusUpdateBroadcaster::ConnectService()
{
    LOG_ENTRY(CNetMStatusUpdateBroadcaster, "ConnectService");
    core->netM->NetworkStatus = WhileAlive(core, &SCore::HandleStatus);
    core->topic->OnSubscribe = WhileAlive(core, &SCore::HandleSubscription);
}
