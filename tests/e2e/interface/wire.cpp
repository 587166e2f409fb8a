#include "tests/e2e/interface/wire.h"

#include <array>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string_view>

namespace Interface
{

namespace
{

/// The length of what stands for the placeholder at the beginning of a text, if that fits.
using Measure = std::optional<std::size_t> (*)(std::string_view text, std::string_view next);

bool IsKeyDigit(char character)
{
    return std::string_view("0123456789abcdef").find(character) != std::string_view::npos;
}

std::optional<std::size_t> MeasureKey(std::string_view text, std::string_view /*next*/)
{
    constexpr std::size_t length = 64;
    for (std::size_t index = 0; index < length; ++index)
    {
        if (index >= text.size() || !IsKeyDigit(text[index]))
        {
            return std::nullopt;
        }
    }
    return length;
}

/// @param shape  with 0 for any digit
std::optional<std::size_t> MeasureShape(std::string_view text, std::string_view shape)
{
    for (std::size_t index = 0; index < shape.size(); ++index)
    {
        const bool isDigit = index < text.size() && text[index] >= '0' && text[index] <= '9';
        if (index >= text.size() || (shape[index] == '0' ? !isDigit : text[index] != shape[index]))
        {
            return std::nullopt;
        }
    }
    return shape.size();
}

std::optional<std::size_t> MeasureTime(std::string_view text, std::string_view /*next*/)
{
    return MeasureShape(text, "0000-00-00T00:00:00Z");
}

std::optional<std::size_t> MeasureStamp(std::string_view text, std::string_view /*next*/)
{
    return MeasureShape(text, "0000-00-00T000000");
}

std::optional<std::size_t> MeasureAnything(std::string_view text, std::string_view next)
{
    const std::size_t length = next.empty() ? text.size() : text.find(next);
    const bool fits = length != std::string_view::npos && length > 0 &&
                      text.substr(0, length).find('\n') == std::string_view::npos;
    return fits ? std::optional(length) : std::nullopt;
}

std::optional<std::size_t> MeasureArchive(std::string_view text, std::string_view /*next*/)
{
    constexpr std::size_t block = 512;
    constexpr std::size_t magic = 257;
    const bool fits = text.size() > block && text.size() % block == 0 && text.substr(magic, 5) == "ustar";
    return fits ? std::optional(text.size()) : std::nullopt;
}

struct SPlaceholder
{
    std::string_view text;
    Measure measure;
};

constexpr std::array Placeholders{SPlaceholder{"<key>", MeasureKey},
                                  SPlaceholder{"<time>", MeasureTime},
                                  SPlaceholder{"<stamp>", MeasureStamp},
                                  SPlaceholder{"<...>", MeasureAnything},
                                  SPlaceholder{"<archive>", MeasureArchive}};

const SPlaceholder* PlaceholderAt(std::string_view text)
{
    for (const SPlaceholder& placeholder : Placeholders)
    {
        if (text.substr(0, placeholder.text.size()) == placeholder.text)
        {
            return &placeholder;
        }
    }
    return nullptr;
}

/// The text up to the next placeholder.
std::string_view UpToPlaceholder(std::string_view text)
{
    std::size_t length = 0;
    while (length < text.size() && PlaceholderAt(text.substr(length)) == nullptr)
    {
        ++length;
    }
    return text.substr(0, length);
}

std::string StatusLine(int status)
{
    switch (status)
    {
    case 200:
        return "HTTP/1.1 200 OK";
    case 201:
        return "HTTP/1.1 201 Created";
    case 204:
        return "HTTP/1.1 204 No Content";
    case 400:
        return "HTTP/1.1 400 Bad Request";
    case 401:
        return "HTTP/1.1 401 Unauthorized";
    case 403:
        return "HTTP/1.1 403 Forbidden";
    case 404:
        return "HTTP/1.1 404 Not Found";
    case 405:
        return "HTTP/1.1 405 Method Not Allowed";
    case 409:
        return "HTTP/1.1 409 Conflict";
    case 500:
        return "HTTP/1.1 500 Internal Server Error";
    case 503:
        return "HTTP/1.1 503 Service Unavailable";
    default:
        throw std::runtime_error("A row has an unknown status");
    }
}

std::string Text(const std::string& statusLine, const HttpHeaders& headers, const std::string& body)
{
    std::string text = statusLine + "\n";
    for (const auto& [name, value] : headers)
    {
        if (name != "Date")
        {
            text.append(name).append(": ").append(value).append("\n");
        }
    }
    return text + "\n" + body;
}

} // namespace

std::string Filled(const std::string& expected, const std::string& actual, std::string& key)
{
    std::string filled;
    std::string text = expected;
    if (const std::size_t latest = text.find("<latest>"); latest != std::string::npos)
    {
        text.replace(latest, std::string_view("<latest>").size(), key);
    }
    std::string_view rest = text;
    std::string_view given = actual;
    while (!rest.empty())
    {
        const std::string_view plain = UpToPlaceholder(rest);
        if (given.substr(0, plain.size()) != plain)
        {
            break;
        }
        filled += plain;
        rest.remove_prefix(plain.size());
        given.remove_prefix(plain.size());
        const SPlaceholder* placeholder = PlaceholderAt(rest);
        if (placeholder == nullptr)
        {
            break;
        }
        rest.remove_prefix(placeholder->text.size());
        const auto length = placeholder->measure(given, UpToPlaceholder(rest));
        if (!length)
        {
            filled += placeholder->text;
            break;
        }
        if (placeholder->text == "<key>")
        {
            key = given.substr(0, *length);
        }
        filled += given.substr(0, *length);
        given.remove_prefix(*length);
    }
    return filled.append(rest);
}

std::string Text(const SHttpResponse& response)
{
    return Text(response.statusLine, response.headers, response.body);
}

std::string
Expected(const SAnswer& answer, const std::string& method, const SHttpResponse& response, std::string& key)
{
    HttpHeaders headers;
    for (const auto& [name, value] : answer.headers)
    {
        headers.emplace_back(name, Filled(value, response.Header(name), key));
    }
    const std::string body = Filled(answer.body, response.body, key);
    if (answer.status != 204)
    {
        headers.emplace_back("Content-Length", std::to_string(body.size()));
    }
    return Text(StatusLine(answer.status), headers, method == "HEAD" ? "" : body);
}

} // namespace Interface
