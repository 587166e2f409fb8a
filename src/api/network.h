#pragma once

#include "src/api/httprequest.h"

#include "platform/toolbox/mdns.h"
#include "platform/toolbox/modbustcpclient.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class INetM;
class TarnConfig;

namespace httpserver
{
class http_response;
}

namespace Resources
{

/// Handlers of the routes below /network: the station's WLAN, and energy meters in reach of it.
///
/// Bodies that can't be parsed, and members that are missing or of another type, are an
/// HttpStatusException<400>. An Rpc::CommunicationException of the network manager reaches the caller.
/// Threads: any, several at the same time. There is no lock: two changes of the WLAN interleave.
class CNetworkApi
{
public:
    using Response = std::shared_ptr<httpserver::http_response>;

    /// As Toolbox::QueryMdnsDevices.
    using MdnsQuery = std::function<std::vector<Toolbox::SMdnsDevice>(
        const std::string& serviceName, std::chrono::seconds timeout, Toolbox::CInterruption* interruption)>;

    /// Makes a client as CModbusTcpClient's constructor does.
    using ModbusTcpClientMaker = std::function<std::unique_ptr<IModbusTcpClient>(
        const std::string& address, unsigned short port, Toolbox::CInterruption* interruption)>;

    /// On the network as it is.
    /// @param networkConfig  the configuration "network"
    /// @param secretsConfig  the configuration "secrets"
    CNetworkApi(std::shared_ptr<INetM> netM,
                std::shared_ptr<TarnConfig> networkConfig,
                std::shared_ptr<TarnConfig> secretsConfig);

    /// The same on another network.
    CNetworkApi(std::shared_ptr<INetM> netM,
                std::shared_ptr<TarnConfig> networkConfig,
                std::shared_ptr<TarnConfig> secretsConfig,
                MdnsQuery queryMdnsDevices,
                ModbusTcpClientMaker makeModbusTcpClient);
    ~CNetworkApi();
    CNetworkApi(const CNetworkApi&) = delete;
    CNetworkApi& operator=(const CNetworkApi&) = delete;
    CNetworkApi(CNetworkApi&&) = delete;
    CNetworkApi& operator=(CNetworkApi&&) = delete;

    /// 200 with {"Networks": [{"Ssid": string, "SignalStrength": int, "Channel": uint, "Security": string},
    /// …]}, in the manager's order.
    /// @throws HttpStatusException<500> with its reason word if the scan has failed in the manager
    Response ScanWlan();

    /// Takes {"Ssid": string, "Password": string}, joins that network and answers 204 when that is done. For
    /// the network that is configured already, the interface is taken down and brought up again.
    /// @throws HttpStatusException<500> with its reason word if the manager can't bring the interface up.
    /// After the attempt at another network the interface is off, and what is configured is that network.
    Response ConnectWlan(const IHttpRequest& request);

    /// Searches for HomeWizard P1 meters for five seconds. 200 with {"Devices": [{"Hostname": string,
    /// "IpAddress": string}, …]}, in the order of their answers.
    Response ScanHomeWizard();

    /// Takes {"Address": string, "Port": uint}. 200 with {"Available": bool}: whether the peer takes a
    /// connection, which is dropped then. The port counts modulo 65536.
    Response VerifyModbusTcpConn(const IHttpRequest& request);

    /// Ends searches and tests that are under way, and at once those to come until ResumeSearches: they are
    /// answered with what they have found.
    void InterruptSearches();
    void ResumeSearches();

private:
    void RestartWlan();
    void JoinWlan(const std::string& ssid, const std::string& password);

    // Constant after construction
    const std::shared_ptr<INetM> netM;
    const std::shared_ptr<TarnConfig> networkConfig;
    const std::shared_ptr<TarnConfig> secretsConfig;
    const MdnsQuery queryMdnsDevices;
    const ModbusTcpClientMaker makeModbusTcpClient;
    const std::unique_ptr<Toolbox::CInterruption> interruption;
};

} // namespace Resources
