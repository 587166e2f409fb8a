#pragma once

#include "src/fileserver/connection.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

struct MHD_PostProcessor;

class CPostRequest;

/// A piece of the value of a form field. A long value comes in several, in order.
struct CRequestChunk
{
    CPostRequest* connection;
    /// the field's name; these four are empty where the body doesn't tell
    std::string key;
    std::string filename;
    std::string contentType;
    std::string transferEncoding;
    /// valid during the call only
    const char* data;
    /// of this piece in the value, in bytes
    std::uint64_t offset;
    std::size_t size;
};

/// A request whose body is a form, of either type that libmicrohttpd reads: multipart/form-data or
/// application/x-www-form-urlencoded. It is read as it arrives and never kept.
class CPostRequest : public CConnection
{
public:
    using ChunkHandler = std::function<void(const CRequestChunk&)>;

    /// A body of any other type has no chunks.
    /// @param handler  what it throws becomes the exception of the request
    CPostRequest(MHD_Connection* connection, ChunkHandler handler);
    ~CPostRequest() override;
    CPostRequest(const CPostRequest&) = delete;
    CPostRequest& operator=(const CPostRequest&) = delete;
    CPostRequest(CPostRequest&&) = delete;
    CPostRequest& operator=(CPostRequest&&) = delete;

    void Process(const char* data, std::size_t size) override;

    /// Whether there was at least one chunk.
    bool IsProcessed() override;

private:
    /// The library's callback.
    struct SIterator;

    void HandleChunk(const CRequestChunk& chunk);
    void Fail(const HttpException& exception);

    const ChunkHandler handler;
    /// null if the library can't read this type of body
    MHD_PostProcessor* const processor;
    bool processed = false;
};
