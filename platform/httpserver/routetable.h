#pragma once

#include <cstddef>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace httpserver
{
class http_resource;
}

namespace httpserver::Detail
{

/// Which resource a path leads to, and the values of the path's parameters.
struct SMatch
{
    /// null without a match
    http_resource* resource = nullptr;
    /// name and value, in the order of the path
    std::vector<std::pair<std::string, std::string>> parameters;
};

/// The registered paths and their resources.
/// Threads: any.
class CRouteTable
{
public:
    /// @return false if the path is there already
    /// @throws std::invalid_argument "Bad URL format"
    bool Add(const std::string& path, http_resource* resource, bool family);

    void Remove(const std::string& path);

    /// @param path  a decoded one
    SMatch Find(std::string_view path) const;

private:
    struct SSegment
    {
        /// the parameter's name or the text
        std::string text;
        bool isParameter;

        bool IsSameAs(const SSegment& other) const;
        bool Matches(std::string_view segment) const;
    };

    struct SRoute
    {
        /// "/" and the segments joined by "/", in the case of the registration
        std::string text;
        std::vector<SSegment> segments;
        http_resource* resource;
        bool family;

        bool IsSameAs(const SRoute& other) const;
        bool IsPreferredTo(const SRoute& other) const;
        bool Matches(std::string_view path) const;
    };

    static SRoute Parse(std::string_view path, http_resource* resource, bool family);
    static SSegment ParseSegment(std::string_view text);
    static SMatch MatchWithParameters(const SRoute& route, std::string_view path);

    mutable std::shared_mutex mutex;

    // Guarded by mutex
    /// the preferred ones first
    std::vector<SRoute> routes;
};

} // namespace httpserver::Detail
