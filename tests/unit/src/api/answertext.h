/// Whole answers as texts, to be compared in one piece.
#pragma once

#include <string>

#include "tests/support/rawhttp.h"

/// Status line, headers in the order of the wire and body. The header Date is left out.
inline std::string AnswerText(const SHttpResponse& response)
{
    std::string text = response.statusLine + "\n";
    for (const auto& [name, value] : response.headers)
    {
        if (name != "Date")
        {
            text.append(name).append(": ").append(value).append("\n");
        }
    }
    return text + "\n" + response.body;
}

/// An answer with JSON as its body, e.g. JsonAnswer("200 OK", "{}\n").
inline std::string JsonAnswer(const std::string& status, const std::string& body)
{
    return "HTTP/1.1 " + status +
           "\nContent-Type: application/json\nContent-Length: " + std::to_string(body.size()) + "\n\n" + body;
}

/// The answer when there is nothing to return.
inline std::string EmptyAnswer()
{
    return "HTTP/1.1 204 No Content\nContent-Type: text/plain\n\n";
}

/// The library's own page for paths that nobody serves.
inline std::string NotFoundPage()
{
    return "HTTP/1.1 404 Not Found\nContent-Type: text/plain\nContent-Length: 9\n\nNot Found";
}
