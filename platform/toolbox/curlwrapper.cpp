#include "platform/toolbox/curlwrapper.h"

#include "platform/log/log.h"

#include <exception>

namespace Toolbox
{

namespace
{

/// bytes
constexpr std::int64_t LongestText = 1024 * 1024;
/// A caller with a client that waits must not be held up by a server that sends a few bytes at a time.
constexpr std::chrono::seconds LongestWait{30};

} // namespace

STransferLimits CCurlWrapper::TextLimits()
{
    STransferLimits limits;
    limits.size = LongestText;
    limits.total = LongestWait;
    return limits;
}

CCurlWrapper::CCurlWrapper(CInterruption* interruption, const STransferLimits& limits)
    : interruption(interruption)
    , limits(limits)
{
    LOG_ENTRY(CCurlWrapper, "CCurlWrapper");
}

void CCurlWrapper::Initialize()
{
    LOG_ENTRY(CCurlWrapper, "Initialize");
    isInitialized = IsTransferPossible();
}

std::optional<std::string> CCurlWrapper::Get(const std::string& url,
                                             const std::optional<std::string>& header,
                                             const std::optional<SCredentials>& credentials) const
{
    LOG_ENTRY(CCurlWrapper, "Get");
    if (!isInitialized)
    {
        return std::nullopt;
    }
    try
    {
        std::string text;
        const auto append = [&text](const char* data, std::size_t size)
        {
            text.append(data, size);
            return true;
        };
        TransferUrl({url, header, credentials}, limits, append, interruption);
        return text;
    }
    catch (const std::exception& exception)
    {
        LOG_WARN("Transfer of {} failed: {}", url, exception.what());
        return std::nullopt;
    }
}

} // namespace Toolbox
