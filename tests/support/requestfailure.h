#pragma once

#include "src/api/httpexception.h"

#include <exception>
#include <string>

/// How the frame of the REST API answers a request whose handler does what @p call does: status and text of
/// the failure, such as "404 Not Found" or "400 \"Empty token UID\"". Empty if it doesn't fail.
template <class Call>
std::string FailureOf(Call&& call)
{
    try
    {
        call();
        return "";
    }
    catch (const HttpException& exception)
    {
        return std::to_string(exception.GetStatus()) + " " + exception.what();
    }
    catch (const std::exception& exception)
    {
        return std::string("500 ") + exception.what();
    }
}
