#pragma once

#include <httpserver.hpp>

#include <string>

/// An answer whose body is a file, which is opened when the answer is sent and stays when it is gone. With an
/// empty path the body is empty.
class FileResponse : public httpserver::file_response
{
public:
    FileResponse(std::string path, int status, const std::string& contentType);

    const std::string& GetPath() const;

    MHD_Response* get_raw_response() override;

private:
    std::string path;

    /// In place of the file: some versions of the library end the process over a path that can't be opened.
    httpserver::string_response empty{""};
};
