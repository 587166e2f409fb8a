#pragma once

#include "platform/httpserver/httpresponse.h"

#include <string>

namespace httpserver
{

/// An answer whose body is a file. The file is opened when the answer is sent, not at construction, and isn't
/// deleted. If it can't be opened then, or isn't a regular file, the client gets the server's page for an
/// internal error. With an empty file name the answer has its own status and headers and an empty body.
class file_response : public http_response
{
public:
    explicit file_response(std::string fileName,
                           int code = http::http_utils::http_ok,
                           const std::string& contentType = http::http_utils::text_plain);

    MHD_Response* get_raw_response() override;

private:
    std::string fileName;
};

} // namespace httpserver
