#include "src/fileserver/postrequest.h"

#include "platform/log/log.h"

#include <microhttpd.h>

#include <exception>
#include <utility>

namespace
{

/// For the names of fields and for what of a value goes to the handler at once, in bytes.
constexpr std::size_t BufferSize = 32768;

std::string OrEmpty(const char* text)
{
    return text != nullptr ? text : "";
}

} // namespace

struct CPostRequest::SIterator
{
    static MHD_Result Iterate(void* request,
                              MHD_ValueKind kind,
                              const char* key,
                              const char* filename,
                              const char* contentType,
                              const char* transferEncoding,
                              const char* data,
                              std::uint64_t offset,
                              std::size_t size) noexcept
    {
        auto& self = *static_cast<CPostRequest*>(request);
        try
        {
            // size 0: an empty value, or one of which less has come than the parser needs to tell it from
            // a boundary, one to four bytes
            if (kind != MHD_POSTDATA_KIND || size == 0)
            {
                throw HttpStatusException<400>();
            }
            self.HandleChunk({&self,
                              OrEmpty(key),
                              OrEmpty(filename),
                              OrEmpty(contentType),
                              OrEmpty(transferEncoding),
                              data,
                              offset,
                              size});
        }
        catch (const HttpException& exception)
        {
            self.Fail(exception);
        }
        catch (const std::exception& exception)
        {
            self.Fail(HttpException(500, exception.what()));
        }
        catch (...)
        {
            self.Fail(HttpStatusException<500>("Error while processing POST data."));
        }
        return MHD_YES;
    }
};

CPostRequest::CPostRequest(MHD_Connection* connection, ChunkHandler handler)
    : CConnection(connection)
    , handler(std::move(handler))
    , processor(MHD_create_post_processor(connection, BufferSize, &SIterator::Iterate, this))
{
    LOG_ENTRY(CPostRequest, "CPostRequest");
}

CPostRequest::~CPostRequest()
{
    LOG_ENTRY(CPostRequest, "~CPostRequest");
    // this may still find a chunk: the rest of a value that ends within an escape
    MHD_destroy_post_processor(processor);
}

void CPostRequest::Process(const char* data, std::size_t size)
{
    MHD_post_process(processor, data, size);
}

bool CPostRequest::IsProcessed()
{
    LOG_ENTRY(CPostRequest, "IsProcessed");
    return processed;
}

void CPostRequest::HandleChunk(const CRequestChunk& chunk)
{
    processed = true;
    handler(chunk);
}

void CPostRequest::Fail(const HttpException& exception)
{
    SetException(exception);
    // the library takes no answer in the midst of a body: this one then waits for the end
    RespondWithException();
}
