#include "platform/toolbox/phaseconfig.h"

#include <utility>

CPhaseConfig::CPhaseConfig(std::shared_ptr<const TarnConfig> settings,
                           std::shared_ptr<const TarnConfig> hardware)
    : settings(std::move(settings))
    , hardware(std::move(hardware))
{
}

bool CPhaseConfig::CanChargeSinglePhase() const
{
    return HardwarePhases() == 1 || ConnectedPhases() == 1 || CanChangeChargingPhases();
}

bool CPhaseConfig::CanChargeThreePhases() const
{
    return HardwarePhases() == 3 && ConnectedPhases() == 3;
}

bool CPhaseConfig::CanChangeChargingPhases() const
{
    return CanChargeThreePhases() && hardware->GetBool("HwHas4pRelay", false);
}

int CPhaseConfig::HardwarePhases() const
{
    return hardware->GetInt("HwOneOrThreePhase", 1);
}

int CPhaseConfig::ConnectedPhases() const
{
    return settings->GetInt("ConnectedPhases", HardwarePhases());
}
