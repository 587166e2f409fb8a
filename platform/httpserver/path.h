#pragma once

#include <string>
#include <string_view>

namespace httpserver::Detail
{

/// The path of a request's target as resources see it: %HH decoded once, + as a space, runs of slashes as
/// one, without a slash at its end, cut at the first NUL. A % without two hexadecimal digits stays.
std::string DecodePath(std::string_view target);

/// Takes the first segment off @p path, with the slashes before it. Empty when there is no more.
std::string_view TakeSegment(std::string_view& path);

} // namespace httpserver::Detail
