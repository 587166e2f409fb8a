#include "platform/httpserver/fileresponse.h"

#include <fcntl.h>
#include <microhttpd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <utility>

namespace httpserver
{

namespace
{

/// A descriptor that is closed unless it is released to somebody else.
class CDescriptor
{
public:
    explicit CDescriptor(int number)
        : number(number)
    {
    }
    ~CDescriptor()
    {
        if (number >= 0)
        {
            close(number);
        }
    }
    CDescriptor(const CDescriptor&) = delete;
    CDescriptor& operator=(const CDescriptor&) = delete;
    CDescriptor(CDescriptor&&) = delete;
    CDescriptor& operator=(CDescriptor&&) = delete;

    int Get() const { return number; }
    void Release() { number = -1; }

private:
    int number;
};

} // namespace

file_response::file_response(std::string fileName, int code, const std::string& contentType)
    : http_response(code, contentType)
    , fileName(std::move(fileName))
{
}

MHD_Response* file_response::get_raw_response()
{
    if (fileName.empty())
    {
        return http_response::get_raw_response();
    }

    // without O_NONBLOCK a pipe of that name would hold up the thread until somebody writes to it
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): open has no other form
    CDescriptor file(open(fileName.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status = {};
    if (file.Get() < 0 || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode))
    {
        return nullptr;
    }
    if (status.st_size == 0)
    {
        return http_response::get_raw_response();
    }

    MHD_Response* response =
        MHD_create_response_from_fd64(static_cast<std::uint64_t>(status.st_size), file.Get());
    if (response != nullptr)
    {
        file.Release();
    }
    return response;
}

} // namespace httpserver
