#include "platform/httpserver/routetable.h"

#include "platform/httpserver/path.h"
#include "platform/httpserver/text.h"

#include <algorithm>
#include <mutex>
#include <stdexcept>

namespace httpserver::Detail
{

bool CRouteTable::SSegment::IsSameAs(const SSegment& other) const
{
    return isParameter == other.isParameter && (isParameter || EqualIgnoringCase(text, other.text));
}

bool CRouteTable::SSegment::Matches(std::string_view segment) const
{
    if (isParameter)
    {
        return !segment.empty() && segment.find('\\') == std::string_view::npos;
    }
    return EqualIgnoringCase(text, segment);
}

bool CRouteTable::SRoute::IsSameAs(const SRoute& other) const
{
    return std::equal(segments.begin(),
                      segments.end(),
                      other.segments.begin(),
                      other.segments.end(),
                      [](const SSegment& left, const SSegment& right) { return left.IsSameAs(right); });
}

bool CRouteTable::SRoute::IsPreferredTo(const SRoute& other) const
{
    return segments.size() != other.segments.size() ? segments.size() > other.segments.size()
                                                    : text.size() > other.text.size();
}

bool CRouteTable::SRoute::Matches(std::string_view path) const
{
    const bool startMatches =
        std::all_of(segments.begin(),
                    segments.end(),
                    [&path](const SSegment& segment) { return segment.Matches(TakeSegment(path)); });
    return startMatches && (family || TakeSegment(path).empty());
}

bool CRouteTable::Add(const std::string& path, http_resource* resource, bool family)
{
    SRoute route = Parse(path, resource, family);
    const std::unique_lock lock(mutex);
    if (std::any_of(
            routes.begin(), routes.end(), [&route](const SRoute& each) { return each.IsSameAs(route); }))
    {
        return false;
    }
    const auto place = std::find_if(
        routes.begin(), routes.end(), [&route](const SRoute& each) { return route.IsPreferredTo(each); });
    routes.insert(place, std::move(route));
    return true;
}

void CRouteTable::Remove(const std::string& path)
{
    const SRoute route = Parse(path, nullptr, false);
    const std::unique_lock lock(mutex);
    routes.erase(std::remove_if(routes.begin(),
                                routes.end(),
                                [&route](const SRoute& each) { return each.IsSameAs(route); }),
                 routes.end());
}

SMatch CRouteTable::Find(std::string_view path) const
{
    const std::shared_lock lock(mutex);
    auto route =
        std::find_if(routes.begin(), routes.end(), [path](const SRoute& each) { return each.text == path; });
    if (route != routes.end())
    {
        return {route->resource, {}};
    }
    route =
        std::find_if(routes.begin(), routes.end(), [path](const SRoute& each) { return each.Matches(path); });
    return route != routes.end() ? MatchWithParameters(*route, path) : SMatch();
}

CRouteTable::SRoute CRouteTable::Parse(std::string_view path, http_resource* resource, bool family)
{
    SRoute route = {"", {}, resource, family};
    for (auto segment = TakeSegment(path); !segment.empty(); segment = TakeSegment(path))
    {
        route.segments.push_back(ParseSegment(segment));
        route.text += '/';
        route.text += segment;
    }
    if (route.segments.empty())
    {
        route.text = "/";
    }
    return route;
}

CRouteTable::SSegment CRouteTable::ParseSegment(std::string_view text)
{
    if (text.front() != '{')
    {
        return {std::string(text), false};
    }
    if (text.size() < std::string_view("{x}").size() || text.back() != '}')
    {
        throw std::invalid_argument("Bad URL format");
    }
    return {std::string(text.substr(1, text.size() - 2)), true};
}

SMatch CRouteTable::MatchWithParameters(const SRoute& route, std::string_view path)
{
    SMatch match = {route.resource, {}};
    for (const SSegment& segment : route.segments)
    {
        const std::string_view value = TakeSegment(path);
        if (segment.isParameter)
        {
            match.parameters.emplace_back(segment.text, value);
        }
    }
    return match;
}

} // namespace httpserver::Detail
