#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tests/support/rawhttp.h"

/// Name and value of each field of a form, in order.
using FormFields = std::vector<std::pair<std::string, std::string>>;

constexpr const char* FormBoundary = "----a-boundary";

inline std::string FormType(const std::string& boundary = FormBoundary)
{
    return "multipart/form-data; boundary=" + boundary;
}

inline std::string FormEnd(const std::string& boundary = FormBoundary)
{
    return "--" + boundary + "--\r\n";
}

/// What a browser sends in front of a file.
inline std::string FileHead(const std::string& name, const std::string& boundary = FormBoundary)
{
    return "--" + boundary + "\r\nContent-Disposition: form-data; name=\"" + name +
           "\"; filename=\"package.swu\"\r\nContent-Type: application/octet-stream\r\n\r\n";
}

/// A field as a browser sends a file.
inline std::string
FilePart(const std::string& name, const std::string& value, const std::string& boundary = FormBoundary)
{
    return FileHead(name, boundary) + value + "\r\n";
}

/// The body of a form of files.
inline std::string FormBody(const FormFields& fields)
{
    std::string body;
    for (const auto& [name, value] : fields)
    {
        body += FilePart(name, value);
    }
    return body + FormEnd();
}

/// Sends a form of files and reads the answer.
inline SHttpResponse PutForm(std::uint16_t port, const FormFields& fields, HttpHeaders headers = {})
{
    headers.emplace_back("Content-Type", FormType());
    return HttpRequest(port, "PUT", "/", headers, FormBody(fields));
}

/// A body in chunked transfer, in pieces of @p size bytes.
inline std::string Chunked(const std::string& body, std::size_t size)
{
    std::string chunks;
    for (std::size_t begin = 0; begin < body.size(); begin += size)
    {
        const std::string piece = body.substr(begin, size);
        constexpr const char* Digits = "0123456789abcdef";
        std::string length;
        for (std::size_t rest = piece.size(); rest > 0; rest /= 16)
        {
            length.insert(length.begin(), Digits[rest % 16]);
        }
        chunks += length + "\r\n" + piece + "\r\n";
    }
    return chunks + "0\r\n\r\n";
}
