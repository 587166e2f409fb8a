#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <string_view>

namespace httpserver
{
class http_request;
class http_resource;
class http_response;
} // namespace httpserver

namespace httpserver::Detail
{

/// A method that a resource can answer.
struct SMethod
{
    std::string_view name;
    std::shared_ptr<http_response> (http_resource::*render)(const http_request&);
    /// whether the request's body is kept
    bool hasContent;
};

constexpr std::size_t MethodCount = 9;

/// All of them.
extern const std::array<SMethod, MethodCount> Methods;

/// The method of that name, case and all; null for any other.
const SMethod* FindMethod(std::string_view name);

} // namespace httpserver::Detail
