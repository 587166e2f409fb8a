/// JSON text: what every part of the system writes and reads it with.
#pragma once

#include <json/value.h>

#include <string>
#include <string_view>

namespace JsonUtil
{

/// Compact JSON text of @p value: no blanks, no line feed at the end, members in order of their names. The
/// text is pure ASCII: other characters stand as \u escapes, and bytes that are no UTF-8 as \ufffd. An empty
/// value is "null".
///
/// Threads: any.
std::string WriteUnstyled(const Json::Value& value);

/// The object that @p text holds. Comments, trailing commas, repeated keys and anything behind the object are
/// refused.
///
/// Threads: any.
/// @throws std::runtime_error with place and reason of the first fault, such as
///         "line 3, column 8: Missing '}' or object member name", and without a place for bottomless nesting
Json::Value ParseObject(std::string_view text);

} // namespace JsonUtil
