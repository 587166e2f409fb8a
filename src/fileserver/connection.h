#pragma once

#include "src/api/httpexception.h"

#include <cstddef>
#include <memory>
#include <string>

struct MHD_Connection;

/// One request to a CWebserver: what it sent with its head, and the failure that it will be answered with.
/// This class drops the body; CPostRequest reads it. Threads: the server's.
class CConnection
{
public:
    /// @param connection  the library's; may be null as long as nothing is read from it or sent to it
    explicit CConnection(MHD_Connection* connection);
    virtual ~CConnection();
    CConnection(const CConnection&) = delete;
    CConnection& operator=(const CConnection&) = delete;
    CConnection(CConnection&&) = delete;
    CConnection& operator=(CConnection&&) = delete;

    /// Takes the next piece of the body.
    virtual void Process(const char* data, std::size_t size);

    /// Whether something was done with the body.
    virtual bool IsProcessed();

    bool HasException() const;

    /// Keeps a copy, in place of the exception before.
    void SetException(const HttpException& exception);

    /// Answers with the exception that is kept. There must be one.
    void RespondWithException();

    /// Answers, unless the request has an answer already or the library is still busy with its body.
    void Respond(const std::string& text, int status);

    /// Answers without a body.
    void Close(int status);

    /// @return false if there is no cookie of that name: @p out stays as it is
    bool GetCookie(const std::string& name, std::string& out) const;

    /// @return false if there is no header of that name: @p out stays as it is
    bool GetHeader(const std::string& name, std::string& out) const;

private:
    // Constant after construction
    MHD_Connection* const connection;

    std::unique_ptr<HttpException> exception;
};
