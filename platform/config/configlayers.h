#pragma once

#include <json/value.h>

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

/// One state of a configuration: the image's values and those that were written over them. Never changes.
/// Threads: any.
class CConfigLayers
{
public:
    /// @param image, writable  objects
    CConfigLayers(std::shared_ptr<const Json::Value> image, std::shared_ptr<const Json::Value> writable);

    /// The value in force, null if there is none. Lives as long as this object.
    const Json::Value* Find(std::string_view key) const;

    /// Whether the writable layer has the key.
    bool IsWritten(std::string_view key) const;

    /// All keys with a value in force, in alphabetical order.
    std::vector<std::string> Keys() const;

    const std::shared_ptr<const Json::Value>& Image() const { return image; }
    const std::shared_ptr<const Json::Value>& Writable() const { return writable; }

    /// The keys whose value in force is not the one of @p before, with their value now (null for none), in
    /// alphabetical order. Both states have the same image.
    std::vector<std::pair<std::string, Json::Value>> ChangesSince(const CConfigLayers& before) const;

private:
    void Index(const Json::Value& object);

    // Constant after construction
    const std::shared_ptr<const Json::Value> image;
    const std::shared_ptr<const Json::Value> writable;
    std::unordered_map<std::string_view, const Json::Value*> inForce;
};
