#pragma once

#include <string>

#include "tests/e2e/interface/row.h"

namespace Interface
{

/// An expected text with its placeholders replaced by what stands in their place in the actual text, as far
/// as they fit.
/// @param key  the session's key that <latest> stands for; takes the one that a <key> stands for
std::string Filled(const std::string& expected, const std::string& actual, std::string& key);

/// An answer as text: the status line, the headers without the date, an empty line, the body.
std::string Text(const SHttpResponse& response);

/// What an answer is expected to be, as text.
/// @param method    of the request: an answer to HEAD has no body
/// @param response  what placeholders are filled from
std::string
Expected(const SAnswer& answer, const std::string& method, const SHttpResponse& response, std::string& key);

} // namespace Interface
