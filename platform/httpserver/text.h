#pragma once

#include <string_view>

namespace httpserver::Detail
{

/// Compares byte by byte, with ASCII letters of either case as equal.
/// @return below, equal to or above zero, as left stands before, with or behind right
int CompareIgnoringCase(std::string_view left, std::string_view right);

/// Whether both are the same text, ASCII case aside.
bool EqualIgnoringCase(std::string_view left, std::string_view right);

} // namespace httpserver::Detail
