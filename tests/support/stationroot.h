#pragma once

#include <json/value.h>

#include <filesystem>
#include <string>

#include "tests/support/temporarydirectory.h"

/// A station's root directory with the simulated station's default files, which goes when the object goes.
///
/// It holds etc/iipc.json with Unix sockets under run/, etc/config/ with all files of the image, and the
/// empty directories data/config and run. The name is short, as the path of a socket has to be.
class CStationRoot
{
public:
    CStationRoot();

    const std::filesystem::path& Path() const { return directory.Path(); }

    /// The path with a slash at its end, as a configuration root.
    std::string Root() const { return directory.Root(); }

    /// Where a service is, as gRPC takes it; "Listen" for the process itself.
    std::string Address(const std::string& service) const;

    /// Changes the image's default of a setting in etc/config/NAME.json.
    void SetDefault(const std::string& name, const std::string& key, const Json::Value& value) const;

    /// Takes a setting out of etc/config/NAME.json.
    void RemoveDefault(const std::string& name, const std::string& key) const;

    /// What etc/config/NAME.json holds.
    Json::Value Defaults(const std::string& name) const;

    /// What data/config/NAME.json holds; an empty object if there is no such file.
    Json::Value Stored(const std::string& name) const;

    /// Writes a file below the root.
    void Write(const std::string& file, const std::string& contents) const
    {
        directory.Write(file, contents);
    }

private:
    Json::Value Read(const std::string& file) const;

    CTemporaryDirectory directory;
};
