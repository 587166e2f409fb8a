#include "src/api/httpexception.h"

#include "platform/json/jsonutil.h"

HttpException::HttpException(int status, const std::string& text)
    : std::runtime_error(text)
    , status(status)
{
}

int HttpException::GetStatus() const noexcept
{
    return status;
}

template <int N>
HttpStatusException<N>::HttpStatusException()
    : HttpException(N, FindHttpReason(N))
{
}

template <int N>
HttpStatusException<N>::HttpStatusException(const Json::Value& message)
    : HttpException(N, JsonUtil::WriteUnstyled(message))
{
}

template class HttpStatusException<400>;
template class HttpStatusException<401>;
template class HttpStatusException<403>;
template class HttpStatusException<404>;
template class HttpStatusException<405>;
template class HttpStatusException<409>;
template class HttpStatusException<500>;
template class HttpStatusException<503>;
