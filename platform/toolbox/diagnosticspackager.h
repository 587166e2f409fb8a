#pragma once

#include "platform/toolbox/systemclock.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace Toolbox
{

/// Packs the station's log directory into one file for an installer.
///
/// The package is an uncompressed tar archive of all regular files in and below the directory, under their
/// paths from there. Links are neither packed nor followed. A package takes the place of the one before it at
/// once and whole, so that a download of that one is not disturbed.
///
/// Threads: any, several at the same time.
class CDiagnosticsPackager
{
public:
    /// Paths of files, from the log directory.
    using Collection = std::vector<std::string>;

    /// @param logDirectory      what is packed
    /// @param packageDirectory  where the package is made
    CDiagnosticsPackager(std::filesystem::path logDirectory,
                         std::filesystem::path packageDirectory,
                         SystemClock now = std::chrono::system_clock::now);

    /// The name under which a browser saves the package: CUSTOMER_SERIAL_TIME.pedp with the present UTC time,
    /// such as "ACME_SN-1_2024-05-01T120000.pedp". What is no ASCII letter or digit and none of "-_." becomes
    /// a "_".
    std::string GetPackageFileName(const std::string& customer, const std::string& serialNumber) const;

    /// The files that were last changed in that time, sorted. What can't be read is left out with a warning.
    /// @param from  seconds since 1970
    /// @param to    seconds since 1970, included
    Collection CollectFiles(std::int64_t from, std::int64_t to) const;

    /// Packs the files; those that have gone meanwhile are left out.
    /// @return the path of the package, empty on failure, of which the log tells
    std::string CreatePackage(const std::string& name, const Collection& files) const;

private:
    bool WritePackage(const std::filesystem::path& package, const Collection& files) const;
    bool Pack(const Collection& files, int archive) const;

    // Constant after construction
    const std::filesystem::path logDirectory;
    const std::filesystem::path packageDirectory;
    const SystemClock now;
};

} // namespace Toolbox
