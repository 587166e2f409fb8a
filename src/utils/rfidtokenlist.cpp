#include "src/utils/rfidtokenlist.h"

#include "src/api/httpexception.h"

#include "platform/log/log.h"

#include <fmt/format.h>

#include <cstddef>
#include <utility>

namespace
{

constexpr Json::ArrayIndex MaxTokens = 100;
constexpr std::size_t MaxUidBytes = 100;
constexpr std::size_t MaxDescriptionBytes = 250;

constexpr const char* UidKey = "RfidTokenUid";
constexpr const char* DescriptionKey = "RfidTokenDescription";

void CheckUid(const std::string& uid)
{
    if (uid.size() > MaxUidBytes)
    {
        throw HttpStatusException<400>(
            fmt::format("Token uid is too long (max: {} characters)", MaxUidBytes));
    }
}

void CheckDescription(const std::string& description)
{
    if (description.size() > MaxDescriptionBytes)
    {
        throw HttpStatusException<400>(
            fmt::format("Token description is too long (max: {} characters)", MaxDescriptionBytes));
    }
}

HttpStatusException<409> Conflict(const char* key)
{
    Json::Value message;
    message["Reason"] = key;
    return HttpStatusException<409>(message);
}

} // namespace

CRfidTokenList::CRfidTokenList(Json::Value tokens)
    : tokens(std::move(tokens))
{
}

Json::ArrayIndex CRfidTokenList::FindTokenIndex(const std::string& value, const std::string& key) const
{
    LOG_ENTRY(CRfidTokenList, "FindTokenIndex");
    const std::optional<Json::ArrayIndex> index = Find(value, key);
    if (!index)
    {
        throw HttpStatusException<404>();
    }
    return *index;
}

Json::Value& CRfidTokenList::GetToken(const std::string& uid)
{
    LOG_ENTRY(CRfidTokenList, "GetToken");
    return tokens[FindTokenIndex(uid, UidKey)];
}

void CRfidTokenList::AddToken(const std::string& uid, const std::string& description)
{
    LOG_ENTRY(CRfidTokenList, "AddToken");
    if (tokens.size() >= MaxTokens)
    {
        throw HttpStatusException<400>("Maximum number of RFID tokens reached");
    }
    CheckUid(uid);
    CheckDescription(description);

    if (Find(uid, UidKey))
    {
        LOG_ERROR("Token to add contains a conflicting UID. Returning error status.");
        throw Conflict(UidKey);
    }
    LOG_DEBUG("Success, no conflicting token found with uid '{}'.", uid);
    if (Find(description, DescriptionKey))
    {
        LOG_ERROR("Token to add contains a conflicting description. Returning error status.");
        throw Conflict(DescriptionKey);
    }
    LOG_DEBUG("Success, no conflicting token found with description '{}'.", description);

    Json::Value token(Json::objectValue);
    token[UidKey] = uid;
    token[DescriptionKey] = description;
    tokens.append(std::move(token));
}

void CRfidTokenList::RemoveToken(const std::string& uid)
{
    LOG_ENTRY(CRfidTokenList, "RemoveToken");
    tokens.removeIndex(FindTokenIndex(uid, UidKey), nullptr);
}

void CRfidTokenList::UpdateDescription(const std::string& uid, const std::string& description)
{
    LOG_ENTRY(CRfidTokenList, "UpdateDescription");
    CheckDescription(description);
    GetToken(uid)[DescriptionKey] = description;
}

std::optional<Json::ArrayIndex> CRfidTokenList::Find(const std::string& value, const std::string& key) const
{
    for (Json::ArrayIndex index = 0; index < tokens.size(); ++index)
    {
        const Json::Value& token = tokens[index];
        if (!token.isObject() || !token.isMember(key))
        {
            throw HttpStatusException<500>("Internal RFID token list format is corrupt");
        }
        if (token[key].asString() == value)
        {
            return index;
        }
    }
    return std::nullopt;
}
