#include "src/api/network.h"

#include "src/api/httpexception.h"
#include "src/api/jsonbody.h"
#include "src/api/jsonresponse.h"

#include "contracts/netm.h"
#include "platform/config/tarnconfig.h"
#include "platform/log/log.h"
#include "platform/toolbox/interruption.h"

#include <optional>
#include <utility>

namespace Resources
{

namespace
{

constexpr const char* HomeWizardService = "_hwenergy._tcp.local.";
constexpr std::chrono::seconds HomeWizardTimeout{5};

/// What the hostnames of the P1 meters among HomeWizard's products have in them.
constexpr const char* P1Meter = "p1meter";

std::unique_ptr<IModbusTcpClient>
MakeModbusTcpClient(const std::string& address, unsigned short port, Toolbox::CInterruption* interruption)
{
    return std::make_unique<CModbusTcpClient>(address, port, interruption);
}

} // namespace

CNetworkApi::CNetworkApi(std::shared_ptr<INetM> netM,
                         std::shared_ptr<TarnConfig> networkConfig,
                         std::shared_ptr<TarnConfig> secretsConfig)
    : CNetworkApi(
          std::move(netM),
          std::move(networkConfig),
          std::move(secretsConfig),
          [](const std::string& serviceName,
             std::chrono::seconds timeout,
             Toolbox::CInterruption* interruption)
          { return Toolbox::QueryMdnsDevices(serviceName, timeout, interruption); },
          &MakeModbusTcpClient)
{
}

CNetworkApi::CNetworkApi(std::shared_ptr<INetM> netM,
                         std::shared_ptr<TarnConfig> networkConfig,
                         std::shared_ptr<TarnConfig> secretsConfig,
                         MdnsQuery queryMdnsDevices,
                         ModbusTcpClientMaker makeModbusTcpClient)
    : netM(std::move(netM))
    , networkConfig(std::move(networkConfig))
    , secretsConfig(std::move(secretsConfig))
    , queryMdnsDevices(std::move(queryMdnsDevices))
    , makeModbusTcpClient(std::move(makeModbusTcpClient))
    , interruption(std::make_unique<Toolbox::CInterruption>())
{
    LOG_ENTRY(CNetworkApi, "CNetworkApi");
}

CNetworkApi::~CNetworkApi() = default;

CNetworkApi::Response CNetworkApi::ScanWlan()
{
    LOG_ENTRY(CNetworkApi, "ScanWlan");
    const std::optional<ipc::MScanWlan> scan = netM->ScanWlan();
    if (!scan)
    {
        LOG_WARN("Scan on WLAN interface failed because of internal NetM error.");
        throw HttpStatusException<500>();
    }
    Json::Value networks(Json::arrayValue);
    for (const ipc::MWlanNetwork& network : scan->network())
    {
        Json::Value element;
        element["Ssid"] = network.ssid();
        element["SignalStrength"] = network.signal_strength();
        element["Channel"] = network.channel();
        element["Security"] = network.security();
        networks.append(element);
    }
    Json::Value answer;
    answer["Networks"] = networks;
    return std::make_shared<JsonResponse>(answer);
}

CNetworkApi::Response CNetworkApi::ConnectWlan(const IHttpRequest& request)
{
    LOG_ENTRY(CNetworkApi, "ConnectWlan");
    const Json::Value body = ParseJsonBody(request);
    const std::string ssid = GetJsonString(body, "Ssid");
    const std::string password = GetJsonString(body, "Password");
    if (networkConfig->GetString("NetMSsid", "") == ssid &&
        secretsConfig->GetString("WlanStaPassword", "") == password)
    {
        RestartWlan();
    }
    else
    {
        JoinWlan(ssid, password);
    }
    return std::make_shared<JsonResponse>();
}

void CNetworkApi::RestartWlan()
{
    LOG_INFO("WLAN SSID and password in the request are the same as configured on the system. We will try "
             "bringing the WLAN interface down and up again.");
    if (networkConfig->GetBool("NetMWlanEnable", false))
    {
        networkConfig->SetBool("NetMWlanEnable", false);
        if (!netM->ValidateConfig())
        {
            LOG_ERROR("NetM was not able to bring the WLAN interface down. We will try bringing it up again "
                      "anyway.");
        }
    }
    else
    {
        LOG_INFO("WLAN interface is already down.");
    }
    networkConfig->SetBool("NetMWlanEnable", true);
    if (!netM->ValidateConfig())
    {
        LOG_ERROR("NetM was not able to bring the WLAN interface up. Returning an error response.");
        throw HttpStatusException<500>();
    }
    LOG_INFO("The WLAN interface was successfully restarted. Returning a success response.");
}

void CNetworkApi::JoinWlan(const std::string& ssid, const std::string& password)
{
    networkConfig->SetBool("NetMWlanEnable", true);
    networkConfig->SetString("NetMSsid", ssid);
    secretsConfig->SetString("WlanStaPassword", password);
    if (netM->ValidateConfig())
    {
        return;
    }
    LOG_WARN(
        "NetM validation failure after connection attempt to external WLAN. Returning an error response.");
    networkConfig->SetBool("NetMWlanEnable", false);
    if (!netM->ValidateConfig())
    {
        LOG_ERROR("Bringing down the WLAN interface failed. We will leave the config file as is.");
    }
    throw HttpStatusException<500>();
}

CNetworkApi::Response CNetworkApi::ScanHomeWizard()
{
    LOG_ENTRY(CNetworkApi, "ScanHomeWizard");
    Json::Value devices(Json::arrayValue);
    for (const Toolbox::SMdnsDevice& device :
         queryMdnsDevices(HomeWizardService, HomeWizardTimeout, interruption.get()))
    {
        if (device.hostname.find(P1Meter) != std::string::npos)
        {
            Json::Value element;
            element["Hostname"] = device.hostname;
            element["IpAddress"] = device.ipAddress;
            devices.append(element);
        }
    }
    Json::Value answer;
    answer["Devices"] = devices;
    return std::make_shared<JsonResponse>(answer);
}

CNetworkApi::Response CNetworkApi::VerifyModbusTcpConn(const IHttpRequest& request)
{
    LOG_ENTRY(CNetworkApi, "VerifyModbusTcpConn");
    const Json::Value body = ParseJsonBody(request);
    const std::string address = GetJsonString(body, "Address");
    const auto port = static_cast<unsigned short>(GetJsonUInt(body, "Port"));
    const std::unique_ptr<IModbusTcpClient> client = makeModbusTcpClient(address, port, interruption.get());
    Json::Value answer;
    answer["Available"] = client->Init() && client->Connect() == 0;
    return std::make_shared<JsonResponse>(answer);
}

void CNetworkApi::InterruptSearches()
{
    LOG_ENTRY(CNetworkApi, "InterruptSearches");
    interruption->Interrupt();
}

void CNetworkApi::ResumeSearches()
{
    LOG_ENTRY(CNetworkApi, "ResumeSearches");
    interruption->Resume();
}

} // namespace Resources
