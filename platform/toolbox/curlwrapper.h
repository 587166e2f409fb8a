#pragma once

#include "platform/toolbox/urltransfer.h"

#include <optional>
#include <string>

namespace Toolbox
{

/// Gets short texts over http and https.
/// Threads: one at a time; several objects at the same time.
class CCurlWrapper
{
public:
    /// @param interruption  ends what is under way, if it isn't null, and lets all fail while it lasts
    /// @param limits        1 MiB and half a minute, unless given
    explicit CCurlWrapper(CInterruption* interruption = nullptr,
                          const STransferLimits& limits = TextLimits());

    /// Before the first Get. If it fails, of which the log tells, so does every Get.
    void Initialize();

    /// Gets what the URL holds; see TransferUrl for what counts as a success. Blocks meanwhile.
    /// @param header  to be sent along, such as "Accept: application/json"
    /// @return empty on failure, of which the log tells
    std::optional<std::string> Get(const std::string& url,
                                   const std::optional<std::string>& header,
                                   const std::optional<SCredentials>& credentials) const;

    static STransferLimits TextLimits();

private:
    // Constant after construction
    CInterruption* const interruption;
    const STransferLimits limits;

    bool isInitialized = false;
};

} // namespace Toolbox
