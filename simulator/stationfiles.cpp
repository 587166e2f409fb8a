#include "simulator/stationfiles.h"

#include "platform/config/tarnconfig.h"
#include "platform/json/jsonutil.h"
#include "platform/log/log.h"

#include <exception>
#include <fstream>
#include <stdexcept>
#include <utility>

namespace Simulator
{

namespace
{

/// A path of that name that is free: frames of one second get a number.
std::filesystem::path FreePath(const std::filesystem::path& directory, const std::string& name)
{
    std::filesystem::path path = directory / (name + ".json");
    for (int number = 2; std::filesystem::exists(path); ++number)
    {
        path = directory / (name + "_" + std::to_string(number) + ".json");
    }
    return path;
}

void WriteFile(const std::filesystem::path& path, const std::string& text)
{
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file)
    {
        throw std::runtime_error("it can't be written");
    }
}

} // namespace

CStationFiles::CStationFiles(std::filesystem::path root,
                             std::filesystem::path freezeFrameDirectory,
                             std::filesystem::path firmwarePackage,
                             UtcSource utcNow)
    : root(std::move(root))
    , freezeFrameDirectory(std::move(freezeFrameDirectory))
    , firmwarePackage(std::move(firmwarePackage))
    , utcNow(std::move(utcNow))
{
}

std::optional<NetworkConfig> CStationFiles::ReadNetworkConfig() const
{
    try
    {
        return ParseNetworkConfig(ReadConfig("network"), ReadConfig("secrets"));
    }
    catch (const std::exception& error)
    {
        LOG_WARN("The network configuration is not usable: {}", error.what());
        return std::nullopt;
    }
}

std::string CStationFiles::ReadFirmwareIdentifier() const
{
    return TarnConfig::CreateStaticOnly("fwinfo", root.string() + "/")->GetString("FwIdent", "unknown");
}

bool CStationFiles::IsFirmwarePackageThere() const
{
    return std::filesystem::exists(firmwarePackage);
}

std::string CStationFiles::WriteFreezeFrame(Json::Value frame) const
{
    const auto time = utcNow();
    frame["Time"] = ToIsoText(time);
    try
    {
        std::filesystem::create_directories(freezeFrameDirectory);
        const std::filesystem::path path =
            FreePath(freezeFrameDirectory, "freezeframe_" + ToFileNameText(time));
        WriteFile(path, JsonUtil::WriteUnstyled(frame));
        return path.string();
    }
    catch (const std::exception& error)
    {
        LOG_ERROR("Freeze frame in {} failed: {}", freezeFrameDirectory.string(), error.what());
        return "";
    }
}

bool CStationFiles::IsTimeSynchronised() const
{
    return std::filesystem::exists(SynchronisedFile());
}

void CStationFiles::SetTimeSynchronised(bool isSynchronised) const
{
    const std::filesystem::path file = SynchronisedFile();
    if (isSynchronised)
    {
        std::filesystem::create_directories(file.parent_path());
        WriteFile(file, "");
    }
    else
    {
        std::filesystem::remove(file);
    }
}

std::filesystem::path CStationFiles::SynchronisedFile() const
{
    return root / "run/synchronised";
}

Json::Value CStationFiles::ReadConfig(const std::string& name) const
{
    const auto config = TarnConfig::Create(name, root.string() + "/");
    Json::Value values(Json::objectValue);
    for (const std::string& key : config->GetKeys())
    {
        values[key] = config->GetValue(key, Json::nullValue);
    }
    return values;
}

} // namespace Simulator
