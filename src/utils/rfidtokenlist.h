#pragma once

#include <json/value.h>

#include <optional>
#include <string>

/// The RFID tokens that the station accepts without a back office, in the order in which they were added: a
/// JSON array of {"RfidTokenUid": string, "RfidTokenDescription": string}.
///
/// A uid is a token's identity, compared byte by byte, as descriptions are. Lengths count bytes.
///
/// An operation that throws leaves the list as it was. Where the contents are of another shape than the
/// above, what is behind the sought token goes unnoticed, and what comes before it is
/// HttpStatusException<500> "Internal RFID token list format is corrupt", or a Json::Exception for a list
/// that is no array or a member that is no text.
///
/// Threads: one at a time.
class CRfidTokenList
{
public:
    /// @param tokens  taken as it is
    explicit CRfidTokenList(Json::Value tokens);

    const Json::Value& GetTokens() const { return tokens; }

    /// The first token whose member @p key is @p value.
    /// @throws HttpStatusException<404> if there is none
    Json::ArrayIndex FindTokenIndex(const std::string& value, const std::string& key) const;

    /// The token in the list, which lives until the list is changed.
    /// @throws HttpStatusException<404> if there is none
    Json::Value& GetToken(const std::string& uid);

    /// Appends a token.
    /// @throws HttpStatusException<400> if the list is full, or the uid or the description too long; the
    /// message tells which, the first one in this order
    /// @throws HttpStatusException<409> with {"Reason": "RfidTokenUid"} or else "RfidTokenDescription" if a
    /// token has the same, an empty description too
    void AddToken(const std::string& uid, const std::string& description);

    /// @throws HttpStatusException<404> if there is no such token
    void RemoveToken(const std::string& uid);

    /// Unlike AddToken, takes a description that another token has.
    /// @throws HttpStatusException<400> if the description is too long
    /// @throws HttpStatusException<404> if there is no such token
    void UpdateDescription(const std::string& uid, const std::string& description);

private:
    std::optional<Json::ArrayIndex> Find(const std::string& value, const std::string& key) const;

    Json::Value tokens;
};
