#pragma once

#include <memory>

class ICurrentControl;
class TarnConfig;

namespace httpserver
{
class http_response;
}

namespace Resources
{

/// Handler of the route below /charging.
/// Threads: any, several at the same time.
class CChargingApi
{
public:
    using Response = std::shared_ptr<httpserver::http_response>;

    /// @param settings  the configuration "settings"
    CChargingApi(std::shared_ptr<TarnConfig> settings, std::shared_ptr<ICurrentControl> currentControl);

    /// Puts the setting "UserDefinedChargeLimitCurrent", in A, into force as the user's limit, if
    /// "UserDefinedChargeLimitCurrentAllowed" is true. 204, also if the service refuses or can't be reached:
    /// that is only logged. Values that are no number of mA in 32 bits are taken modulo 2^32 mA.
    Response ApplyCurrentSlider();

private:
    // Constant after construction
    const std::shared_ptr<TarnConfig> settings;
    const std::shared_ptr<ICurrentControl> currentControl;
};

} // namespace Resources
