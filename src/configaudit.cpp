#include "src/configaudit.h"

#include "contracts/diagnostics/diagnosticssignal.h"
#include "contracts/diagnostics/signalcatalogue.h"
#include "platform/log/log.h"

#include <fmt/format.h>
#include <json/value.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace
{

constexpr std::array<std::string_view, 8> SecurityParameters{
    "AuthorizationKey",
    "FwUpdateAuthPassword",
    "NtpServer1",
    "NtpServer2",
    "SeccOcppUri",
    "WebIfManagementPassword",
    "WlanApPassword",
    "WlanStaPassword",
};

constexpr std::array<std::string_view, 5> MaskedParameters{
    "AuthorizationKey",
    "FwUpdateAuthPassword",
    "WebIfManagementPassword",
    "WlanApPassword",
    "WlanStaPassword",
};

constexpr const char* Mask = "****";

template <class Keys>
bool Contains(const Keys& keys, std::string_view key)
{
    return std::find(keys.begin(), keys.end(), key) != keys.end();
}

void Send(const CSignalDefinition<std::string>& definition, std::string text)
{
    CDiagnosticsSignal<std::string> signal(&definition);
    signal.SetValue(std::move(text));
    signal.Send();
}

} // namespace

void ConfigChangeCallback(const std::string& key, const Json::Value& value)
{
    if (!value.isConvertibleTo(Json::stringValue))
    {
        LOG_DEBUG("Skip logging. Key {} is changed with non string-convertible value {}",
                  key,
                  value.toStyledString());
        return;
    }
    if (Contains(SecurityParameters, key))
    {
        const std::string shown = Contains(MaskedParameters, key) ? Mask : value.asString();
        Send(Signals::ReconfigurationOfSecurityParameters,
             fmt::format("Security parameter {} has been reconfigured to {}", key, shown));
    }
    else
    {
        Send(Signals::ReconfigurationOfParameter,
             fmt::format("Parameter {} has been reconfigured to {}", key, value.asString()));
    }
}
