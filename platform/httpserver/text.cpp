#include "platform/httpserver/text.h"

#include <algorithm>
#include <cstddef>

namespace httpserver::Detail
{

namespace
{

// std::tolower depends on the locale and is a call for every byte
unsigned char Lower(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    const bool isUpper = byte >= 'A' && byte <= 'Z';
    return isUpper ? static_cast<unsigned char>(byte + ('a' - 'A')) : byte;
}

} // namespace

int CompareIgnoringCase(std::string_view left, std::string_view right)
{
    const std::size_t common = std::min(left.size(), right.size());
    for (std::size_t i = 0; i < common; ++i)
    {
        if (const int difference = Lower(left[i]) - Lower(right[i]); difference != 0)
        {
            return difference;
        }
    }
    return static_cast<int>(left.size() > right.size()) - static_cast<int>(left.size() < right.size());
}

bool EqualIgnoringCase(std::string_view left, std::string_view right)
{
    return left.size() == right.size() && CompareIgnoringCase(left, right) == 0;
}

} // namespace httpserver::Detail
