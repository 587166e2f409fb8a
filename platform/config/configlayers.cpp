#include "platform/config/configlayers.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace
{

std::vector<std::string> KeysOfBoth(const Json::Value& one, const Json::Value& other)
{
    const std::vector<std::string> oneKeys = one.getMemberNames();
    const std::vector<std::string> otherKeys = other.getMemberNames();
    std::vector<std::string> keys;
    std::set_union(
        oneKeys.begin(), oneKeys.end(), otherKeys.begin(), otherKeys.end(), std::back_inserter(keys));
    return keys;
}

bool AreEqual(const Json::Value* one, const Json::Value* other)
{
    return one != nullptr && other != nullptr ? *one == *other : one == other;
}

} // namespace

CConfigLayers::CConfigLayers(std::shared_ptr<const Json::Value> image,
                             std::shared_ptr<const Json::Value> writable)
    : image(std::move(image))
    , writable(std::move(writable))
{
    Index(*this->image);
    Index(*this->writable);
}

void CConfigLayers::Index(const Json::Value& object)
{
    for (auto member = object.begin(); member != object.end(); ++member)
    {
        const char* end = nullptr;
        const char* begin = member.memberName(&end);
        inForce[std::string_view(begin, static_cast<std::size_t>(end - begin))] = &*member;
    }
}

const Json::Value* CConfigLayers::Find(std::string_view key) const
{
    const auto found = inForce.find(key);
    return found != inForce.end() ? found->second : nullptr;
}

bool CConfigLayers::IsWritten(std::string_view key) const
{
    return writable->find(key.data(), key.data() + key.size()) != nullptr;
}

std::vector<std::string> CConfigLayers::Keys() const
{
    return KeysOfBoth(*image, *writable);
}

std::vector<std::pair<std::string, Json::Value>>
CConfigLayers::ChangesSince(const CConfigLayers& before) const
{
    std::vector<std::pair<std::string, Json::Value>> changes;
    for (const std::string& key : KeysOfBoth(*before.writable, *writable))
    {
        const Json::Value* value = Find(key);
        if (!AreEqual(value, before.Find(key)))
        {
            changes.emplace_back(key, value != nullptr ? *value : Json::Value());
        }
    }
    return changes;
}
