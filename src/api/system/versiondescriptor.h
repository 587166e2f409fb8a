#pragma once

#include <optional>
#include <string>

class TarnConfig;

namespace Toolbox
{
class CInterruption;
}

/// A piece of software that can be installed.
struct SAvailableSoftware
{
    std::string url;
    std::string version;
};

/// What software there is for the station.
struct SVersionDescriptor
{
    std::optional<SAvailableSoftware> firmware;
    std::optional<SAvailableSoftware> customization;
};

/// Gets the descriptor from the URL in the setting "WebIfUpdateHelperUrl". It is a JSON object with the texts
/// "firmwareUrl", "firmwareVersion", "customizationUrl" and "customizationVersion"; a value of another type
/// counts as none. What is missing or unusable is empty, and the log tells why. Blocks for the transfer.
///
/// Threads: any.
/// @param settings      the configuration "settings"
/// @param interruption  ends the transfer
SVersionDescriptor ReadVersionDescriptor(const TarnConfig& settings, Toolbox::CInterruption& interruption);
