#pragma once

#include "platform/log/log.h"

#include <string>

/// What the command line decides.
struct SOptions
{
    /// Prefix of all paths; ends in a slash to mean a directory.
    std::string root = "/";
};

/// Reads the options and applies those that concern the log.
/// @return false after the usage text has been printed to standard output: the process ends with status 1
bool ParseCommandLine(int argc, char** argv, SOptions& options);
