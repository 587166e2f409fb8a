#include "src/fileserver/connection.h"

#include "platform/log/log.h"

#include <microhttpd.h>

namespace
{

struct SDestroyResponse
{
    void operator()(MHD_Response* response) const { MHD_destroy_response(response); }
};

using ResponsePointer = std::unique_ptr<MHD_Response, SDestroyResponse>;

ResponsePointer MakeResponse(const std::string& text)
{
    // the library doesn't write to what it copies, but says so only in later versions
    return ResponsePointer(
        MHD_create_response_from_buffer(text.size(),
                                        const_cast<char*>(text.data()),
                                        MHD_RESPMEM_MUST_COPY)); // NOLINT(*-const-cast): see above
}

bool LookUp(MHD_Connection* connection, MHD_ValueKind kind, const std::string& name, std::string& out)
{
    const char* const value = MHD_lookup_connection_value(connection, kind, name.c_str());
    if (value == nullptr)
    {
        return false;
    }
    out = value;
    return true;
}

} // namespace

CConnection::CConnection(MHD_Connection* connection)
    : connection(connection)
{
}

CConnection::~CConnection()
{
    LOG_ENTRY(CConnection, "~CConnection");
}

void CConnection::Process(const char* /*data*/, std::size_t /*size*/)
{
}

bool CConnection::IsProcessed()
{
    LOG_ENTRY(CConnection, "IsProcessed");
    return true;
}

bool CConnection::HasException() const
{
    LOG_ENTRY(CConnection, "HasException");
    return exception != nullptr;
}

void CConnection::SetException(const HttpException& exception)
{
    LOG_ENTRY(CConnection, "SetException");
    this->exception = std::make_unique<HttpException>(exception.GetStatus(), exception.what());
}

void CConnection::RespondWithException()
{
    LOG_ENTRY(CConnection, "RespondWithException");
    Respond(exception->what(), exception->GetStatus());
}

void CConnection::Respond(const std::string& text, int status)
{
    LOG_ENTRY(CConnection, "Respond");
    const ResponsePointer response = MakeResponse(text);
    MHD_add_response_header(response.get(), "Content-Type", "text/html");
    MHD_queue_response(connection, static_cast<unsigned int>(status), response.get());
}

void CConnection::Close(int status)
{
    LOG_ENTRY(CConnection, "Close");
    const ResponsePointer response = MakeResponse("");
    MHD_queue_response(connection, static_cast<unsigned int>(status), response.get());
}

bool CConnection::GetCookie(const std::string& name, std::string& out) const
{
    LOG_ENTRY(CConnection, "GetCookie");
    return LookUp(connection, MHD_COOKIE_KIND, name, out);
}

bool CConnection::GetHeader(const std::string& name, std::string& out) const
{
    LOG_ENTRY(CConnection, "GetHeader");
    return LookUp(connection, MHD_HEADER_KIND, name, out);
}
