#pragma once

#include <map>
#include <string>

namespace Rpc
{

/// Where this process listens and where the services are.
/// The file is JSON: {"Listen": ADDRESS, "Services": {NAME: ADDRESS, …}}. An address is "unix:PATH", with a
/// relative PATH under the root, or "HOST:PORT".
struct STransportConfig
{
    /// Address at which this process offers its services, as gRPC takes it.
    std::string listen;

    /// Addresses of the services by their names, as gRPC takes them.
    std::map<std::string, std::string> services;

    /// The file, for error texts.
    std::string path;

    /// @throws std::runtime_error if the services hold none of that name
    const std::string& AddressOf(const std::string& service) const;
};

/// @param path the root with "etc/iipc.json" appended to it
/// @throws std::runtime_error that names the file and what is wrong with it
STransportConfig ReadTransportConfig(const std::string& path);

} // namespace Rpc
