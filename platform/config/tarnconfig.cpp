#include "platform/config/tarnconfig.h"

#include "platform/json/jsonutil.h"

#include <stdexcept>

namespace
{

constexpr const char* ImageDirectory = "etc/config";
constexpr const char* WritableDirectory = "data/config";
constexpr const char* FileExtension = ".json";

} // namespace

std::shared_ptr<TarnConfig>
TarnConfig::Create(const std::string& name, const std::string& root, ChangeCallback callback)
{
    return std::make_shared<TarnConfig>(name, root, EAccess::Writable, std::move(callback), HostFileSystem());
}

std::shared_ptr<TarnConfig> TarnConfig::CreateStaticOnly(const std::string& name, const std::string& root)
{
    return std::make_shared<TarnConfig>(name, root, EAccess::StaticOnly, ChangeCallback(), HostFileSystem());
}

TarnConfig::TarnConfig(const std::string& name,
                       const std::string& root,
                       EAccess access,
                       ChangeCallback callback,
                       const std::shared_ptr<IFileSystem>& fileSystem)
    : imageFile(root + ImageDirectory, name + FileExtension, fileSystem)
    , writableFile(
          access == EAccess::Writable
              ? std::optional(CConfigFile(root + WritableDirectory, name + FileExtension, fileSystem))
              : std::nullopt)
    , callback(std::move(callback))
{
    Reload();
}

bool TarnConfig::GetBool(std::string_view key, bool fallback) const
{
    const auto current = Layers();
    const Json::Value* value = current->Find(key);
    return value != nullptr && value->isBool() ? value->asBool() : fallback;
}

int TarnConfig::GetInt(std::string_view key, int fallback) const
{
    const auto current = Layers();
    const Json::Value* value = current->Find(key);
    return value != nullptr && value->isInt() ? value->asInt() : fallback;
}

std::string TarnConfig::GetString(std::string_view key, std::string_view fallback) const
{
    const auto current = Layers();
    const Json::Value* value = current->Find(key);
    return value != nullptr && value->isString() ? value->asString() : std::string(fallback);
}

Json::Value TarnConfig::GetValue(std::string_view key, const Json::Value& fallback) const
{
    const auto current = Layers();
    const Json::Value* value = current->Find(key);
    return value != nullptr ? *value : fallback;
}

bool TarnConfig::Contains(std::string_view key, bool writableOnly) const
{
    const auto current = Layers();
    return writableOnly ? current->IsWritten(key) : current->Find(key) != nullptr;
}

std::vector<std::string> TarnConfig::GetKeys() const
{
    return Layers()->Keys();
}

void TarnConfig::SetBool(std::string_view key, bool value)
{
    SetValue(key, value);
}

void TarnConfig::SetString(std::string_view key, std::string_view value)
{
    SetValue(key, std::string(value));
}

void TarnConfig::SetValue(std::string_view key, const Json::Value& value)
{
    // compared as JSON text: a number that is read again may be of another integer type than when it was set
    const std::string text = JsonUtil::WriteUnstyled(value);
    Change(
        [&](const CConfigLayers& current, Json::Value& writable)
        {
            const Json::Value* inForce = current.Find(key);
            if (inForce != nullptr && JsonUtil::WriteUnstyled(*inForce) == text)
            {
                return false;
            }
            writable[std::string(key)] = value;
            return true;
        });
}

void TarnConfig::Clear()
{
    Change(
        [](const CConfigLayers& /*current*/, Json::Value& writable)
        {
            const bool isToChange = !writable.empty();
            writable.clear();
            return isToChange;
        });
}

bool TarnConfig::HasChanged() const
{
    const std::optional<SFileStamp> stamp = (writableFile ? *writableFile : imageFile).Stamp();
    const std::lock_guard lock(mutex);
    return writtenSinceReload || !(stamp == reloadStamp);
}

void TarnConfig::Reload()
{
    const std::lock_guard changeLock(changeMutex);
    SFileContents image = imageFile.Read();
    SFileContents writable =
        writableFile ? writableFile->Read() : SFileContents{Json::objectValue, std::nullopt};
    knownStamp = writable.stamp;
    auto fresh = std::make_shared<const CConfigLayers>(
        std::make_shared<const Json::Value>(std::move(image.values)),
        std::make_shared<const Json::Value>(std::move(writable.values)));
    const std::lock_guard lock(mutex);
    layers.swap(fresh);
    reloadStamp = writableFile ? writable.stamp : image.stamp;
    writtenSinceReload = false;
}

void TarnConfig::Change(const Edit& edit)
{
    if (!writableFile)
    {
        throw std::logic_error("a static-only configuration can't be changed");
    }
    const SChanged changed = Write(edit);
    if (callback)
    {
        for (const auto& [key, value] : changed.values)
        {
            callback(key, value);
        }
    }
    if (!changed.syncFailure.empty())
    {
        throw std::runtime_error(changed.syncFailure);
    }
}

TarnConfig::SChanged TarnConfig::Write(const Edit& edit)
{
    const std::lock_guard changeLock(changeMutex);
    auto before = Layers();
    Json::Value values = *before->Writable();
    if (!edit(*before, values) && writableFile->Stamp() == knownStamp)
    {
        return {};
    }

    CConfigFileWriter writer(*writableFile);
    TakeOver(writer);
    before = Layers();
    values = *before->Writable();
    if (!edit(*before, values))
    {
        return {};
    }
    const std::string text = JsonUtil::WriteUnstyled(values);
    // what any reader of the file will find, in place of what was asked for
    Json::Value written = JsonUtil::ParseObject(text);
    auto fresh = WithWritable(std::move(written));
    const CConfigFileWriter::SReplaced replaced = writer.Replace(text + '\n');
    knownStamp = replaced.stamp;
    Publish(std::move(fresh));
    return {Layers()->ChangesSince(*before), replaced.syncFailure};
}

void TarnConfig::TakeOver(const CConfigFileWriter& writer)
{
    if (writer.Stamp() == knownStamp)
    {
        return;
    }
    SFileContents contents = writer.Read();
    auto fresh = WithWritable(std::move(contents.values));
    knownStamp = contents.stamp;
    Publish(std::move(fresh));
}

std::shared_ptr<const CConfigLayers> TarnConfig::Layers() const
{
    const std::lock_guard lock(mutex);
    return layers;
}

std::shared_ptr<const CConfigLayers> TarnConfig::WithWritable(Json::Value values) const
{
    return std::make_shared<const CConfigLayers>(Layers()->Image(),
                                                 std::make_shared<const Json::Value>(std::move(values)));
}

void TarnConfig::Publish(std::shared_ptr<const CConfigLayers> fresh)
{
    const std::lock_guard lock(mutex);
    layers.swap(fresh);
    writtenSinceReload = true;
}
