#include "platform/httpserver/path.h"

#include <algorithm>
#include <cstddef>

namespace httpserver::Detail
{

namespace
{

/// Value of a hexadecimal digit, -1 for other characters.
int HexValue(char c)
{
    if (c >= '0' && c <= '9')
    {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f')
    {
        return c - 'a' + 10;
    }
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

/// Takes the first character off the target, decoded.
char TakeDecoded(std::string_view& target)
{
    char c = target.front();
    std::size_t length = 1;
    if (c == '+')
    {
        c = ' ';
    }
    else if (c == '%' && target.size() > 2)
    {
        const int high = HexValue(target[1]);
        const int low = HexValue(target[2]);
        if (high >= 0 && low >= 0)
        {
            c = static_cast<char>(high * 16 + low);
            length = 3;
        }
    }
    target.remove_prefix(length);
    return c;
}

} // namespace

std::string DecodePath(std::string_view target)
{
    std::string path;
    path.reserve(target.size());
    while (!target.empty())
    {
        const char c = TakeDecoded(target);
        if (c != '/' || path.empty() || path.back() != '/')
        {
            path += c;
        }
    }
    if (path.size() > 1 && path.back() == '/')
    {
        path.pop_back();
    }
    // after the slash at the end: one before a NUL stays
    path.resize(std::min(path.find('\0'), path.size()));
    return path;
}

std::string_view TakeSegment(std::string_view& path)
{
    path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
    const std::string_view segment = path.substr(0, path.find('/'));
    path.remove_prefix(segment.size());
    return segment;
}

} // namespace httpserver::Detail
