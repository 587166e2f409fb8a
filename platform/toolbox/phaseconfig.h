#pragma once

#include "platform/config/tarnconfig.h"

#include <memory>

/// What the station's phases allow, from what the hardware has and what the installer has connected.
///
/// The hardware's phases are "HwOneOrThreePhase" of the hardware information (1 without it), the connected
/// ones "ConnectedPhases" of the settings (the hardware's without it). Each question reads the present
/// values.
///
/// Threads: any.
class CPhaseConfig
{
public:
    CPhaseConfig(std::shared_ptr<const TarnConfig> settings, std::shared_ptr<const TarnConfig> hardware);

    /// One phase is all that there is, or the station can change to one.
    bool CanChargeSinglePhase() const;

    /// The hardware has three phases and three are connected.
    bool CanChargeThreePhases() const;

    /// Three phases, and the relay that switches between one and three ("HwHas4pRelay").
    bool CanChangeChargingPhases() const;

private:
    int HardwarePhases() const;
    int ConnectedPhases() const;

    // Constant after construction
    const std::shared_ptr<const TarnConfig> settings;
    const std::shared_ptr<const TarnConfig> hardware;
};
