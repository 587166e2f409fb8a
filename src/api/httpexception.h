#pragma once

#include <json/value.h>

#include <array>
#include <stdexcept>
#include <string>

/// A failure of a request that carries the HTTP status of its answer.
class HttpException : public std::runtime_error
{
public:
    /// @param text what the answer's body says, as it stands
    HttpException(int status, const std::string& text);

    int GetStatus() const noexcept;

private:
    int status;
};

struct SHttpReason
{
    int status;
    const char* word;
};

/// The reason words of all statuses that a request of ours can fail with.
constexpr std::array<SHttpReason, 9> HttpReasons{{
    {400, "Bad Request"},
    {401, "Unauthorized"},
    {403, "Forbidden"},
    {404, "Not Found"},
    {405, "Method not Allowed"},
    {409, "Conflict"},
    {500, "Internal Server Error"},
    {502, "Bad Gateway"},
    {503, "Service Unavailable"},
}};

/// The reason word of @p status, null if it has none.
constexpr const char* FindHttpReason(int status)
{
    for (const SHttpReason& reason : HttpReasons)
    {
        if (reason.status == status)
        {
            return reason.word;
        }
    }
    return nullptr;
}

/// A failure with the fixed status @p N.
template <int N>
class HttpStatusException : public HttpException
{
    static_assert(FindHttpReason(N) != nullptr, "This status has no reason word");

public:
    /// what() is the reason word of the status.
    HttpStatusException();

    /// what() is the compact JSON text of the message: that of a string stands in quotation marks.
    explicit HttpStatusException(const Json::Value& message);
};

extern template class HttpStatusException<400>;
extern template class HttpStatusException<401>;
extern template class HttpStatusException<403>;
extern template class HttpStatusException<404>;
extern template class HttpStatusException<405>;
extern template class HttpStatusException<409>;
extern template class HttpStatusException<500>;
extern template class HttpStatusException<503>;
