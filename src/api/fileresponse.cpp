#include "src/api/fileresponse.h"

#include <utility>

FileResponse::FileResponse(std::string path, int status, const std::string& contentType)
    : file_response(path, status, contentType)
    , path(std::move(path))
{
}

const std::string& FileResponse::GetPath() const
{
    return path;
}

MHD_Response* FileResponse::get_raw_response()
{
    return path.empty() ? empty.get_raw_response() : file_response::get_raw_response();
}
