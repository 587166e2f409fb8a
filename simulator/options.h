#pragma once

#include "simulator/stationsim.h"

#include <stdexcept>

namespace Simulator
{

struct SOptions
{
    SSimulatorSettings simulator;
    bool isVerbose = false;
    bool isHelpWanted = false;
};

extern const char* const UsageText;

/// Reads the command line.
/// @throws std::runtime_error with the reason if it is wrong
SOptions ParseOptions(int argumentCount, char* const* arguments);

} // namespace Simulator
