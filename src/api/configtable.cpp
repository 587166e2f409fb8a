#include "src/api/configtable.h"

#include <algorithm>

namespace
{

constexpr auto Boolean = &Json::Value::isBool;
constexpr auto Integer = &Json::Value::isInt;
constexpr auto String = &Json::Value::isString;

constexpr bool Writable = true;
constexpr bool ReadOnly = false;

constexpr std::array<SConfigKeyRule, 35> UserRules{{
    {"BopFallbackCurrent", Integer, Writable},
    {"BopHomeWizardAddress", String, Writable},
    {"BopSource", String, Writable},
    {"BopSourceParameters", String, Writable},
    {"ConnectedPhases", Integer, Writable},
    {"CurrentCtrlBopCtType", String, Writable},
    {"CurrentCtrlBopEnable", Boolean, Writable},
    {"CurrentCtrlBopFuseRating", Integer, Writable},
    {"CurrentCtrlFixedChargeCurrentLimit", Integer, Writable},
    {"GroundMonitoring", Boolean, Writable},
    {"GroupLoadBalancingEnable", Boolean, Writable},
    {"GroupLoadBalancingFallbackCurrent", Integer, Writable},
    {"GroupLoadBalancingMaxCurrent", Integer, Writable},
    {"GroupLoadBalancingRole", String, Writable},
    {"HmiBuzzerVolume", Integer, Writable},
    {"HmiLedIntensityManual", Integer, Writable},
    {"HmiLedIntensityMax", Integer, Writable},
    {"HmiLedIntensityMin", Integer, Writable},
    {"HmiLedIntensityMode", String, Writable},
    {"LocalSmartChargingAllowed", Boolean, ReadOnly},
    {"PhaseRotation", String, Writable},
    {"PredefinedCpoName", String, ReadOnly},
    {"ScheduledChargingAllowed", Boolean, ReadOnly},
    {"ScheduledChargingEnable", Boolean, Writable},
    {"SeccOcppActive", Boolean, Writable},
    {"SeccOcppUri", String, ReadOnly},
    {"SessionManagerChargeWithoutAuth", Boolean, Writable},
    {"SolarChargingAllowed", Boolean, ReadOnly},
    {"SolarChargingEnable", Boolean, Writable},
    {"SolarChargingMode", String, Writable},
    {"SolarChargingSource", String, Writable},
    {"SolarChargingSourceParameters", String, Writable},
    {"TimeZone", String, Writable},
    {"UserDefinedChargeLimitCurrent", Integer, Writable},
    {"UserDefinedChargeLimitCurrentAllowed", Boolean, ReadOnly},
}};

constexpr std::array<SConfigKeyRule, 17> NetworkRules{{
    {"NetMAlternativeDnsServerAddr", String, Writable},
    {"NetMApEnable", Boolean, Writable},
    {"NetMDnsAuto", Boolean, Writable},
    {"NetMEthDhcpEnable", Boolean, Writable},
    {"NetMEthEnable", Boolean, Writable},
    {"NetMEthGatewayAddr", String, Writable},
    {"NetMEthIpv4Addr", String, Writable},
    {"NetMEthIpv4Netmask", String, Writable},
    {"NetMLteEnable", Boolean, Writable},
    {"NetMLteNbIotEnable", Boolean, Writable},
    {"NetMPlcEnable", Boolean, Writable},
    {"NetMPreferredDnsServerAddr", String, Writable},
    {"NetMSsid", String, Writable},
    {"NetMWlanDhcpEnable", Boolean, Writable},
    {"NetMWlanEnable", Boolean, Writable},
    {"NetMWlanIpv4Addr", String, Writable},
    {"NetMWlanIpv4Netmask", String, Writable},
}};

constexpr std::array<SConfigKeyRule, 1> SecretsRules{{
    {"NetMLteApn", String, ReadOnly},
}};

template <std::size_t Size>
constexpr bool IsOrdered(const std::array<SConfigKeyRule, Size>& rules)
{
    for (std::size_t i = 1; i < Size; ++i)
    {
        if (!(rules.at(i - 1).key < rules.at(i).key))
        {
            return false;
        }
    }
    return true;
}

// look-ups search by halves
static_assert(IsOrdered(UserRules) && IsOrdered(NetworkRules) && IsOrdered(SecretsRules));

} // namespace

const CConfigTable UserConfigTable(UserRules);
const CConfigTable NetworkConfigTable(NetworkRules);
const CConfigTable NetworkSecretsTable(SecretsRules);

const SConfigKeyRule* CConfigTable::Find(std::string_view key) const
{
    const SConfigKeyRule* const found = std::lower_bound(
        first,
        last,
        key,
        [](const SConfigKeyRule& rule, std::string_view sought) { return rule.key < sought; });
    return found != last && found->key == key ? found : nullptr;
}
