/// The frame of the REST API: a server (CRestServer) with one resource for each path (CRestResource), which
/// hands requests (IHttpRequest) to handlers and answers what these return (JsonResponse) or throw
/// (HttpException). jsonbody.h has what handlers read requests with. The handlers themselves are member
/// functions of the classes of the namespace Resources.
#pragma once

#include "src/api/restresource.h"

#include <httpserver.hpp>

#include <cstdint>
#include <map>
#include <memory>
#include <string>

/// The REST server of one port. Paths without a resource get the library's own page.
/// Threads: routes are added, and the server is started and stopped, by one; up to five of the library's run
/// handlers.
class CRestServer : public httpserver::webserver
{
public:
    /// @param authorization  may be null: then no route needs a session
    CRestServer(std::uint16_t port, std::shared_ptr<IAuthorization> authorization);

    /// Stops the server.
    ~CRestServer();

    CRestServer(const CRestServer&) = delete;
    CRestServer& operator=(const CRestServer&) = delete;
    CRestServer(CRestServer&&) = delete;
    CRestServer& operator=(CRestServer&&) = delete;

    /// Serves until stop(), on threads of its own. May be called again after that.
    /// @throws std::runtime_error "Webserver is already running", or with the library's text if the port
    /// can't be had
    void Start();

    /// Has @p handler answer one method of @p path and of all paths below it that have no resource of their
    /// own. The last route that is added for a method and path holds. Not while the server runs.
    /// @param path  a segment {name} stands for any one segment and is read with GetArg("name")
    /// @throws std::invalid_argument if the path is malformed, or differs from an earlier one only in
    /// spelling: case, outer slashes, names of parameters
    void AddRoute(EHttpMethod method,
                  const std::string& path,
                  CRestResource::Handler handler,
                  bool authorizationRequired);

private:
    CRestResource& FindOrCreateResource(const std::string& path);

    // Constant after construction
    const std::shared_ptr<IAuthorization> authorization;

    // Constant while the server runs
    std::map<std::string, std::unique_ptr<CRestResource>> resources;
};
