#pragma once

#include "platform/httpserver/httpresponse.h"

#include <string>

namespace httpserver
{

/// An answer whose body is a text, which may hold any bytes.
class string_response : public http_response
{
public:
    explicit string_response(std::string content,
                             int code = http::http_utils::http_ok,
                             const std::string& contentType = http::http_utils::text_plain);

    /// The body is sent from this object, not from a copy.
    MHD_Response* get_raw_response() override;

private:
    std::string content;
};

} // namespace httpserver
