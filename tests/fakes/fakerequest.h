#pragma once

#include "src/api/httprequest.h"

#include <map>
#include <string>
#include <utility>

/// A request for tests of handlers, which sets what the client sent.
class CFakeRequest final : public IHttpRequest
{
public:
    CFakeRequest() = default;

    /// A POST with a body.
    explicit CFakeRequest(std::string content, std::map<std::string, std::string> cookies = {})
        : method("POST")
        , content(std::move(content))
        , cookies(std::move(cookies))
    {
    }

    const std::string& GetMethod() const override { return method; }
    std::string GetCookie(const std::string& name) const override { return Find(cookies, name); }
    std::string GetHeader(const std::string& name) const override { return Find(headers, name); }
    std::string GetArg(const std::string& name) const override { return Find(args, name); }
    const std::string& GetContent() const override { return content; }

    std::string method = "GET";
    std::string content;
    std::map<std::string, std::string> cookies;
    std::map<std::string, std::string> headers;
    std::map<std::string, std::string> args;

private:
    static std::string Find(const std::map<std::string, std::string>& values, const std::string& name)
    {
        const auto value = values.find(name);
        return value != values.end() ? value->second : "";
    }
};
