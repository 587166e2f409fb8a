#pragma once

#include "simulator/model/networkconfig.h"
#include "simulator/utctime.h"

#include <json/value.h>

#include <filesystem>
#include <optional>
#include <string>

namespace Simulator
{

/// The station's files: the configuration that the web back end writes, freeze frames, the firmware package.
/// Threads: any.
class CStationFiles
{
public:
    /// @param root the station's root directory
    CStationFiles(std::filesystem::path root,
                  std::filesystem::path freezeFrameDirectory,
                  std::filesystem::path firmwarePackage,
                  UtcSource utcNow);

    /// The network configuration as the files stand now; empty if one of them can't be parsed. A file that is
    /// absent counts as empty.
    std::optional<NetworkConfig> ReadNetworkConfig() const;

    /// "FwIdent" of the firmware information, or "unknown".
    /// @throws std::runtime_error if the file can't be read or parsed
    std::string ReadFirmwareIdentifier() const;

    bool IsFirmwarePackageThere() const;

    /// Writes a freeze frame to a file of its own, named after the present time, and adds the time to it.
    /// @return the file's path, empty if it could not be written
    std::string WriteFreezeFrame(Json::Value frame) const;

    /// Whether the station has the time from a server: the file run/synchronised, for processes that look.
    /// SetTimeSynchronised throws std::runtime_error if the file can't be made.
    bool IsTimeSynchronised() const;
    void SetTimeSynchronised(bool isSynchronised) const;

private:
    std::filesystem::path SynchronisedFile() const;
    Json::Value ReadConfig(const std::string& name) const;

    // Constant after construction
    const std::filesystem::path root;
    const std::filesystem::path freezeFrameDirectory;
    const std::filesystem::path firmwarePackage;
    const UtcSource utcNow;
};

} // namespace Simulator
