#pragma once

#include <httpserver.hpp>

#include <string>

/// An answer whose body is a file, which is opened when the answer is sent and stays when it is gone. If it
/// can't be opened then, or isn't a regular file, the client gets the server's page for an internal error.
/// With an empty path the body is empty.
class FileResponse : public httpserver::file_response
{
public:
    FileResponse(std::string path, int status, const std::string& contentType);

    const std::string& GetPath() const;

    MHD_Response* get_raw_response() override;
    void decorate_response(MHD_Response* response) override;
    int enqueue_response(MHD_Connection* connection, MHD_Response* response) override;

private:
    std::string path;

    // In place of the file: some versions of the library end the process over a path that can't be opened
    httpserver::string_response empty{""};
    httpserver::string_response errorPage{"Internal Error",
                                          httpserver::http::http_utils::http_internal_server_error};

    /// Whether the answer is the page for an internal error. Only the thread that sends the answer uses it.
    bool failed = false;
};
