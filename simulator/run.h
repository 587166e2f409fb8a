#pragma once

namespace Simulator
{

/// The whole program: runs the simulated station until SIGINT or SIGTERM.
/// @return the exit status: 0 after a signal, 1 if the station can't be set up, 2 for a wrong command line
int Run(int argumentCount, char* const* arguments);

} // namespace Simulator
