#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace Toolbox
{

class CInterruption;

struct SCredentials
{
    std::string user;
    std::string password;
};

struct STransferRequest
{
    /// of http or https
    std::string url;
    /// such as "Accept: application/json"
    std::optional<std::string> header;
    std::optional<SCredentials> credentials;
};

/// What ends a transfer that takes too much.
struct STransferLimits
{
    /// of the body, in bytes
    std::int64_t size = 0;
    /// for finding and reaching the server
    std::chrono::milliseconds connecting{10000};
    /// with less than 1000 bytes a second
    std::chrono::seconds stalling{30};
    /// of the whole transfer; zero for none
    std::chrono::seconds total{0};
};

/// Takes the next piece of the body. @return false to give the transfer up
using TransferSink = std::function<bool(const char* data, std::size_t size)>;

/// Whether transfers are possible; an error line tells why if they aren't.
bool IsTransferPossible();

/// Gets what a URL holds, over http or https alone, with up to ten redirects. The certificate of a https
/// server is verified against the system's authorities. Only the status 200 with the whole body, as long as
/// it was announced, is a success. Proxies are those of the environment (http_proxy, https_proxy, no_proxy).
///
/// Threads: any.
/// @param interruption  ends the transfer at once, if it isn't null
/// @throws std::runtime_error with the reason of the failure
void TransferUrl(const STransferRequest& request,
                 const STransferLimits& limits,
                 const TransferSink& sink,
                 CInterruption* interruption);

} // namespace Toolbox
