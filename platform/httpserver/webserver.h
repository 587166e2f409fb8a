#pragma once

#include "platform/httpserver/createwebserver.h"

#include <memory>
#include <string>

namespace httpserver
{

class http_resource;

/// An HTTP server on one port. It keeps raw pointers to its resources, which must outlive its running.
///
/// The destructor, which is not virtual, stops the server. That comes too late for a derived class that owns
/// resources: it calls stop() in its own destructor.
/// Construction also sets a handler for SIGPIPE that does nothing, for the whole process.
/// Threads: any; a render function may not call start or stop.
class webserver
{
public:
    /// Implicit, as the library has it.
    webserver(const create_webserver& settings);
    ~webserver();
    webserver(const webserver&) = delete;
    webserver& operator=(const webserver&) = delete;
    webserver(webserver&&) = delete;
    webserver& operator=(webserver&&) = delete;

    /// Listens and serves, on threads of its own.
    /// @param blocking  whether to return only when the server has been stopped
    /// @return @p blocking
    /// @throws std::invalid_argument "Unable to connect daemon to port: N" if that fails or it runs already
    bool start(bool blocking = false);

    /// Ends serving: waits for render functions that run, whose clients get no answer, closes all connections
    /// and joins the threads. The server can be started again and has its resources still.
    /// @return false if it wasn't running
    bool stop();

    /// False from the beginning of stop().
    bool is_running() const;

    /// Has @p resource answer requests to @p path, whose segments are compared without regard to case; a
    /// segment {name} matches any one segment and is read with get_arg("name"). Of several matches the path
    /// with the most segments wins, then the one with the longer text; one that is equal to the request's
    /// path beats them all.
    /// @param family  whether all paths below @p path, too, are answered
    /// @return false if the path is registered already, names of parameters aside; the first resource stays
    /// @throws std::invalid_argument "Bad URL format" for a segment that begins with { and is no {name}
    bool register_resource(const std::string& path, http_resource* resource, bool family = false);

    /// Requests that are being rendered go on.
    void unregister_resource(const std::string& path);

private:
    class CDaemon;

    std::unique_ptr<CDaemon> daemon;
};

} // namespace httpserver
