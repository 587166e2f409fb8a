#include "src/websocket/cookie.h"

#include <algorithm>

std::optional<std::string> ExtractCookie(const std::string& header, const std::string& name, char delimiter)
{
    std::size_t start = header.find_first_not_of(delimiter);
    while (start != std::string::npos)
    {
        const std::size_t found = header.find(delimiter, start);
        const std::size_t end = std::min(found, header.size());
        // the end's index is taken as a length
        const std::string token = header.substr(start, std::min(end, header.size() - start));
        const std::size_t equals = token.find('=');
        if (equals != std::string::npos && token.compare(0, equals, name) == 0)
        {
            return token.substr(equals + 1);
        }
        start = found == std::string::npos ? found : header.find_first_not_of(delimiter, found);
    }
    return std::nullopt;
}
