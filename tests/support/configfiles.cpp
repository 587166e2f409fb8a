#include "tests/support/configfiles.h"

#include "platform/json/jsonutil.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

namespace
{

std::string FileOf(const std::string& name)
{
    return "data/config/" + name + ".json";
}

} // namespace

CConfigFiles::CConfigFiles() = default;

void CConfigFiles::Write(const std::string& name, const std::string& json) const
{
    directory.Write(FileOf(name), json);
}

std::shared_ptr<TarnConfig> CConfigFiles::Open(const std::string& name,
                                               TarnConfig::ChangeCallback callback) const
{
    return TarnConfig::Create(name, Root(), std::move(callback));
}

std::string CConfigFiles::Stored(const std::string& name) const
{
    std::ifstream stream(directory.Path() / FileOf(name), std::ios::binary);
    const std::string text(std::istreambuf_iterator<char>(stream), {});
    return text.empty() ? text : JsonUtil::WriteUnstyled(JsonUtil::ParseObject(text));
}

std::string CConfigFiles::Stored(const std::string& name, const std::string& key) const
{
    const std::string text = Stored(name);
    const Json::Value values = text.empty() ? Json::Value(Json::objectValue) : JsonUtil::ParseObject(text);
    return values.isMember(key) ? JsonUtil::WriteUnstyled(values[key]) : "";
}
