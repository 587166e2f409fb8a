#include "tests/integration/simulator/runningsimulator.h"

#include "tests/support/eventually.h"

namespace
{

/// How long a test waits to see that nothing comes.
constexpr std::chrono::milliseconds Impatience{100};

Simulator::SSimulatorSettings SettingsFor(const CStationRoot& root, std::chrono::milliseconds recoveryPause)
{
    Simulator::SSimulatorSettings settings;
    settings.root = root.Path();
    settings.steerPort = 0;
    settings.downloadPort = 0;
    settings.firmwarePackage = root.Path() / "package.swu";
    settings.recoveryPause = recoveryPause;
    return settings;
}

std::uint16_t StartedPort(Simulator::CStationSim& simulator)
{
    simulator.Start();
    return simulator.SteerPort();
}

} // namespace

CRunningSimulator::CRunningSimulator(std::chrono::milliseconds recoveryPause)
    : simulator(SettingsFor(root, recoveryPause))
    , steering(StartedPort(simulator))
{
}

SPatientContext::SPatientContext()
{
    set_deadline(std::chrono::system_clock::now() + TestPatience);
}

SImpatientContext::SImpatientContext()
{
    set_deadline(std::chrono::system_clock::now() + Impatience);
}
