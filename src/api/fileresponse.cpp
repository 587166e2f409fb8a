#include "src/api/fileresponse.h"

#include <filesystem>
#include <system_error>
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
    if (path.empty())
    {
        return empty.get_raw_response();
    }
    std::error_code error;
    MHD_Response* response =
        std::filesystem::is_regular_file(path, error) ? file_response::get_raw_response() : nullptr;
    failed = response == nullptr;
    return failed ? errorPage.get_raw_response() : response;
}

void FileResponse::decorate_response(MHD_Response* response)
{
    failed ? errorPage.decorate_response(response) : file_response::decorate_response(response);
}

int FileResponse::enqueue_response(MHD_Connection* connection, MHD_Response* response)
{
    return failed ? errorPage.enqueue_response(connection, response)
                  : file_response::enqueue_response(connection, response);
}
