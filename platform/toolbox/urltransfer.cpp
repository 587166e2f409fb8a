#include "platform/toolbox/urltransfer.h"

#include "platform/log/log.h"
#include "platform/toolbox/curllibrary.h"
#include "platform/toolbox/interruption.h"

#include <array>
#include <exception>
#include <memory>
#include <stdexcept>

namespace Toolbox
{

namespace
{

constexpr const char* Protocols = "http,https";
constexpr long RedirectLimit = 10;
/// bytes a second; below it a transfer stalls
constexpr long StallingSpeed = 1000;
/// milliseconds; the library wakes up earlier for what it has planned
constexpr int LongestPoll = 60000;
constexpr long HttpOk = 200;

void CheckMulti(const SCurlLibrary& curl, CURLMcode code)
{
    if (code != CURLM_OK)
    {
        throw std::runtime_error(curl.multiStrerror(code));
    }
}

/// One transfer with libcurl.
class CTransfer
{
public:
    CTransfer(const STransferRequest& request, const STransferLimits& limits, const TransferSink& sink);
    ~CTransfer();
    CTransfer(const CTransfer&) = delete;
    CTransfer& operator=(const CTransfer&) = delete;
    CTransfer(CTransfer&&) = delete;
    CTransfer& operator=(CTransfer&&) = delete;

    /// @throws std::runtime_error with the reason of the failure
    void Run(CInterruption& interruption);

private:
    template <class Value>
    void Set(CURLoption option, Value value);
    void SetRequest(const STransferRequest& request);
    void SetLimits();

    void RunToEnd(const CInterruption& interruption);
    void CheckResult();
    [[noreturn]] void Fail(CURLcode result) const;

    /// What the library calls.
    static std::size_t TakeData(const char* data, std::size_t size, std::size_t count, void* transfer);
    std::size_t Take(const char* data, std::size_t size) noexcept;

    // Constant after construction
    const SCurlLibrary& curl;
    const STransferLimits limits;
    const TransferSink& sink;
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> easy;
    const std::unique_ptr<CURLM, decltype(&curl_multi_cleanup)> multi;
    std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers;

    std::int64_t received = 0;
    /// why our side gave it up; empty if it didn't
    std::string reason;
    /// where the library writes its own
    std::array<char, CURL_ERROR_SIZE> libraryReason{};
};

CTransfer::CTransfer(const STransferRequest& request, const STransferLimits& limits, const TransferSink& sink)
    : curl(LoadCurlLibrary())
    , limits(limits)
    , sink(sink)
    , easy(curl.easyInit(), curl.easyCleanup)
    , multi(curl.multiInit(), curl.multiCleanup)
    , headers(nullptr, curl.slistFreeAll)
{
    if (!easy || !multi)
    {
        throw std::runtime_error("no memory for the transfer");
    }
    SetRequest(request);
    SetLimits();
    CheckMulti(curl, curl.multiAddHandle(multi.get(), easy.get()));
}

CTransfer::~CTransfer()
{
    curl.multiRemoveHandle(multi.get(), easy.get());
}

template <class Value>
void CTransfer::Set(CURLoption option, Value value)
{
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): the library's only way
    const CURLcode result = curl.easySetopt(easy.get(), option, value);
    if (result != CURLE_OK)
    {
        throw std::runtime_error(curl.easyStrerror(result));
    }
}

void CTransfer::SetRequest(const STransferRequest& request)
{
    if (request.url.find('\0') != std::string::npos)
    {
        throw std::runtime_error("the URL holds a zero byte");
    }
    Set(CURLOPT_ERRORBUFFER, libraryReason.data());
    Set(CURLOPT_URL, request.url.c_str());
    Set(CURLOPT_PROTOCOLS_STR, Protocols);
    Set(CURLOPT_REDIR_PROTOCOLS_STR, Protocols);
    Set(CURLOPT_FOLLOWLOCATION, 1L);
    Set(CURLOPT_MAXREDIRS, RedirectLimit);
    Set(CURLOPT_FAILONERROR, 1L);
    Set(CURLOPT_SSL_VERIFYPEER, 1L);
    Set(CURLOPT_SSL_VERIFYHOST, 2L);
    if (request.header)
    {
        headers.reset(curl.slistAppend(nullptr, request.header->c_str()));
        Set(CURLOPT_HTTPHEADER, headers.get());
    }
    if (request.credentials)
    {
        Set(CURLOPT_USERNAME, request.credentials->user.c_str());
        Set(CURLOPT_PASSWORD, request.credentials->password.c_str());
    }
    Set(CURLOPT_WRITEFUNCTION, &TakeData);
    Set(CURLOPT_WRITEDATA, static_cast<void*>(this));
}

void CTransfer::SetLimits()
{
    // signals are the process's own
    Set(CURLOPT_NOSIGNAL, 1L);
    // a name that is still being looked up at the end is not waited for
    Set(CURLOPT_QUICK_EXIT, 1L);
    Set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(limits.connecting.count()));
    Set(CURLOPT_LOW_SPEED_LIMIT, StallingSpeed);
    Set(CURLOPT_LOW_SPEED_TIME, static_cast<long>(limits.stalling.count()));
    Set(CURLOPT_TIMEOUT, static_cast<long>(limits.total.count()));
    Set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(limits.size));
}

void CTransfer::Run(CInterruption& interruption)
{
    {
        const CInterruption::CHold hold(interruption, [this] { curl.multiWakeup(multi.get()); });
        RunToEnd(interruption);
    }
    CheckResult();
}

void CTransfer::RunToEnd(const CInterruption& interruption)
{
    int running = 0;
    CheckMulti(curl, curl.multiPerform(multi.get(), &running));
    while (running > 0)
    {
        if (interruption.IsInterrupted())
        {
            throw std::runtime_error("interrupted");
        }
        CheckMulti(curl, curl.multiPoll(multi.get(), nullptr, 0, LongestPoll, nullptr));
        CheckMulti(curl, curl.multiPerform(multi.get(), &running));
    }
}

void CTransfer::CheckResult()
{
    int left = 0;
    const CURLMsg* const message = curl.multiInfoRead(multi.get(), &left);
    if (message == nullptr)
    {
        throw std::runtime_error("the transfer ended without a result");
    }
    if (message->data.result !=
        CURLE_OK) // NOLINT(cppcoreguidelines-pro-type-union-access): the library's own
    {
        Fail(message->data.result); // NOLINT(cppcoreguidelines-pro-type-union-access)
    }
    long status = 0;
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): the library's only way
    curl.easyGetinfo(easy.get(), CURLINFO_RESPONSE_CODE, &status);
    if (status != HttpOk)
    {
        throw std::runtime_error("the server answered with status " + std::to_string(status));
    }
}

void CTransfer::Fail(CURLcode result) const
{
    if (!reason.empty())
    {
        throw std::runtime_error(reason);
    }
    const std::string text = libraryReason.data();
    throw std::runtime_error(text.empty() ? curl.easyStrerror(result) : text);
}

std::size_t CTransfer::TakeData(const char* data, std::size_t size, std::size_t count, void* transfer)
{
    return static_cast<CTransfer*>(transfer)->Take(data, size * count);
}

/// @return @p size, or another number to give the transfer up
std::size_t CTransfer::Take(const char* data, std::size_t size) noexcept
{
    const std::size_t givenUp = size + 1;
    try
    {
        received += static_cast<std::int64_t>(size);
        if (received > limits.size)
        {
            reason = "more than " + std::to_string(limits.size) + " bytes";
            return givenUp;
        }
        if (!sink(data, size))
        {
            reason = "the data could not be stored";
            return givenUp;
        }
        return size;
    }
    catch (const std::exception&)
    {
        // the library then says that the body could not be written
        return givenUp;
    }
}

} // namespace

bool IsTransferPossible()
{
    try
    {
        LoadCurlLibrary();
        return true;
    }
    catch (const std::runtime_error& error)
    {
        LOG_ERROR("No transfers: {}", error.what());
        return false;
    }
}

void TransferUrl(const STransferRequest& request,
                 const STransferLimits& limits,
                 const TransferSink& sink,
                 CInterruption* interruption)
{
    CInterruption none;
    CTransfer(request, limits, sink).Run(interruption == nullptr ? none : *interruption);
}

} // namespace Toolbox
