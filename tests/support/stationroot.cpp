#include "tests/support/stationroot.h"

#include "platform/json/jsonutil.h"
#include "platform/rpc/transportconfig.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

CStationRoot::CStationRoot()
{
    std::filesystem::copy(WEBBACKEND_STATION_DIRECTORY, Path(), std::filesystem::copy_options::recursive);
    std::filesystem::create_directories(Path() / "data/config");
    std::filesystem::create_directories(Path() / "run");
}

std::string CStationRoot::Address(const std::string& service) const
{
    const Rpc::STransportConfig config = Rpc::ReadTransportConfig(Root() + "etc/iipc.json");
    return service == "Listen" ? config.listen : config.AddressOf(service);
}

void CStationRoot::SetDefault(const std::string& name, const std::string& key, const Json::Value& value) const
{
    const std::string file = "etc/config/" + name + ".json";
    Json::Value values = Read(file);
    values[key] = value;
    Write(file, JsonUtil::WriteUnstyled(values));
}

void CStationRoot::RemoveDefault(const std::string& name, const std::string& key) const
{
    const std::string file = "etc/config/" + name + ".json";
    Json::Value values = Read(file);
    values.removeMember(key);
    Write(file, JsonUtil::WriteUnstyled(values));
}

Json::Value CStationRoot::Defaults(const std::string& name) const
{
    return Read("etc/config/" + name + ".json");
}

Json::Value CStationRoot::Stored(const std::string& name) const
{
    const std::string file = "data/config/" + name + ".json";
    return std::filesystem::exists(Path() / file) ? Read(file) : Json::Value(Json::objectValue);
}

Json::Value CStationRoot::Read(const std::string& file) const
{
    std::ifstream stream(Path() / file, std::ios::binary);
    if (!stream)
    {
        throw std::runtime_error("Cannot read " + (Path() / file).string());
    }
    return JsonUtil::ParseObject(std::string(std::istreambuf_iterator<char>(stream), {}));
}
