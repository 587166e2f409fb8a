#pragma once

#include <optional>
#include <string>

/// Finds a cookie in the value of a request's "Cookie" header, by rules of its own that clients rely on:
/// blanks belong to names and values, so that a name behind "; " is not found; names differ by case; and a
/// cookie that isn't the first runs on behind its delimiter, by as many characters as stand before its text.
/// @return the value, which may be empty; nothing if there is no such cookie
std::optional<std::string> ExtractCookie(const std::string& header, const std::string& name, char delimiter);
