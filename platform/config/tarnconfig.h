/// The station's configuration files.
///
/// A configuration NAME is a set of keys and JSON values in two layers: the image's ROOTetc/config/NAME.json,
/// which is only read, and ROOTdata/config/NAME.json, which wins key by key and takes all changes. Each is
/// one JSON object, and a missing one counts as empty. ROOT is a plain text prefix, so a directory's ends in
/// a slash.
#pragma once

#include "platform/config/configfile.h"
#include "platform/config/configlayers.h"

#include <json/value.h>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// One configuration, held in memory and written through.
///
/// Reading takes a short lock and touches no file. A change has reached the file when the operation returns,
/// and a crash or power cut leaves the file of before or the one of after. Processes that change different
/// keys of one file lose nothing: each takes over the file's present contents first.
///
/// Failures of the file system, and contents that are no JSON object, are std::runtime_error with path and
/// reason, and the line in the latter case. After a failed change memory and file agree.
///
/// Threads: any.
class TarnConfig
{
public:
    /// Told of each key whose value in force was changed through this object, with the new value (null if
    /// there is none any more). Runs on the thread that made the change, after the write, under no lock. What
    /// it throws reaches the caller of the change, which stands.
    using ChangeCallback = std::function<void(const std::string& key, const Json::Value& value)>;

    enum class EAccess
    {
        StaticOnly,
        Writable
    };

    /// Both layers of a configuration.
    /// @throws std::runtime_error if a file can't be read
    static std::shared_ptr<TarnConfig>
    Create(const std::string& name, const std::string& root, ChangeCallback callback = {});

    /// The image's layer alone, without the right to change it.
    /// @throws std::runtime_error if the file can't be read
    static std::shared_ptr<TarnConfig> CreateStaticOnly(const std::string& name, const std::string& root);

    /// What the above make, on any file system.
    TarnConfig(const std::string& name,
               const std::string& root,
               EAccess access,
               ChangeCallback callback,
               const std::shared_ptr<IFileSystem>& fileSystem);
    ~TarnConfig() = default;
    TarnConfig(const TarnConfig&) = delete;
    TarnConfig& operator=(const TarnConfig&) = delete;
    TarnConfig(TarnConfig&&) = delete;
    TarnConfig& operator=(TarnConfig&&) = delete;

    /// The value in force; @p fallback if there is none, or one of another JSON type.
    bool GetBool(std::string_view key, bool fallback) const;

    /// Likewise; a number that doesn't fit in an int, or has a fraction, is of another type.
    int GetInt(std::string_view key, int fallback) const;

    /// Likewise.
    std::string GetString(std::string_view key, std::string_view fallback) const;

    /// Copy of the value in force, of whatever type; @p fallback if there is none.
    Json::Value GetValue(std::string_view key, const Json::Value& fallback) const;

    /// Whether there is a value in force.
    /// @param writableOnly looks past the image's layer
    bool Contains(std::string_view key, bool writableOnly = false) const;

    /// All keys that have a value in force, in alphabetical order.
    std::vector<std::string> GetKeys() const;

    /// Sets one key. A value equal to the one in force writes nothing and calls nobody.
    /// @throws std::runtime_error if the file can't be written: the value in force is the one of before, or
    /// the new one if only its safety against a power cut is in doubt
    /// @throws std::logic_error on a static-only configuration
    void SetBool(std::string_view key, bool value);
    void SetString(std::string_view key, std::string_view value);
    void SetValue(std::string_view key, const Json::Value& value);

    /// Empties the writable layer, which puts the image's values in force. Throws as SetValue does.
    void Clear();

    /// Whether the file was changed, by this object or by anyone else, since Create or the last Reload. Costs
    /// a stat. The file is the writable one, or the image's of a static-only configuration.
    bool HasChanged() const;

    /// Reads the files again. If that fails the values stay as they were.
    void Reload();

private:
    /// Changes the writable layer. @return false if there was nothing to change
    using Edit = std::function<bool(const CConfigLayers& layers, Json::Value& writable)>;

    struct SChanged
    {
        std::vector<std::pair<std::string, Json::Value>> values;
        std::string syncFailure;
    };

    void Change(const Edit& edit);
    SChanged Write(const Edit& edit);
    void TakeOver(const CConfigFileWriter& writer);
    std::shared_ptr<const CConfigLayers> Layers() const;
    std::shared_ptr<const CConfigLayers> WithWritable(Json::Value values) const;
    void Publish(std::shared_ptr<const CConfigLayers> fresh);

    // Constant after construction
    const CConfigFile imageFile;
    const std::optional<CConfigFile> writableFile;
    const ChangeCallback callback;

    // Held by one change or reload at a time, while it reads and writes files, so that what it publishes is
    // what the file holds. Reading never waits for it.
    std::mutex changeMutex;

    // Guarded by changeMutex: the state of the writable file that the layers are from
    std::optional<SFileStamp> knownStamp;

    mutable std::mutex mutex;

    // Guarded by mutex
    std::shared_ptr<const CConfigLayers> layers;
    std::optional<SFileStamp> reloadStamp;
    bool writtenSinceReload = false;
};
