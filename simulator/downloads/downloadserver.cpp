#include "simulator/downloads/downloadserver.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <utility>

namespace Simulator
{

namespace
{

constexpr unsigned ConnectionLimit = 64;
/// seconds without traffic
constexpr unsigned IdleLimit = 120;
/// of the buffer between a body and its connection, in bytes
constexpr std::size_t BlockSize = 65536;
/// between two pieces of a slow body
constexpr std::chrono::milliseconds Pace{100};
constexpr std::int64_t PiecesPerSecond = 10;

using Response = std::unique_ptr<MHD_Response, decltype(&MHD_destroy_response)>;

/// A body while it goes out.
class CBody
{
public:
    CBody(const CDownloads& downloads, std::string path, CDownloads::SEntry entry)
        : downloads(downloads)
        , path(std::move(path))
        , entry(std::move(entry))
    {
    }

    /// As the library wants it. @return how much was put into the buffer
    ssize_t Read(std::int64_t position, char* buffer, std::int64_t room) const
    {
        const SDownload& download = entry.download;
        std::int64_t count = std::min(room, download.Length() - position);
        if (download.cutAfter)
        {
            count = std::min(count, *download.cutAfter - position);
            if (count <= 0)
            {
                return MHD_CONTENT_READER_END_WITH_ERROR;
            }
        }
        if (download.stallAfter)
        {
            count = std::min(count, *download.stallAfter - position);
            if (count <= 0)
            {
                downloads.WaitWhileStanding(path, entry.edition, std::nullopt);
                return MHD_CONTENT_READER_END_WITH_ERROR;
            }
        }
        if (count <= 0)
        {
            return MHD_CONTENT_READER_END_OF_STREAM;
        }
        if (download.speed > 0)
        {
            count = std::min(count, std::max<std::int64_t>(download.speed / PiecesPerSecond, 1));
        }
        const auto pause = download.speed > 0 ? Pace : std::chrono::milliseconds(0);
        if (!downloads.WaitWhileStanding(path, entry.edition, pause))
        {
            return MHD_CONTENT_READER_END_WITH_ERROR;
        }
        Fill(position, buffer, count);
        return static_cast<ssize_t>(count);
    }

private:
    void Fill(std::int64_t position, char* buffer, std::int64_t count) const
    {
        if (entry.download.size)
        {
            std::fill_n(buffer, count, 'x');
            return;
        }
        std::copy_n(entry.download.text.begin() + position, count, buffer);
    }

    // Constant after construction
    const CDownloads& downloads;
    const std::string path;
    const CDownloads::SEntry entry;
};

std::uint64_t AnnouncedLength(const SDownload& download)
{
    const std::int64_t length = download.announced.value_or(download.Length());
    return length < 0 ? MHD_SIZE_UNKNOWN : static_cast<std::uint64_t>(length);
}

MHD_Result ReplyNotFound(MHD_Connection* connection)
{
    const Response response(MHD_create_response_from_buffer(0, nullptr, MHD_RESPMEM_PERSISTENT),
                            &MHD_destroy_response);
    return MHD_queue_response(connection, MHD_HTTP_NOT_FOUND, response.get());
}

} // namespace

/// What the library calls.
struct CDownloadServer::SCallbacks
{
    static MHD_Result Handle(void* server,
                             MHD_Connection* connection,
                             const char* url,
                             const char* /*method*/,
                             const char* /*version*/,
                             const char* /*data*/,
                             std::size_t* dataSize,
                             void** /*state*/)
    {
        *dataSize = 0;
        CDownloads& downloads = static_cast<CDownloadServer*>(server)->downloads;
        const std::optional<CDownloads::SEntry> entry = downloads.Request(url);
        if (!entry)
        {
            return ReplyNotFound(connection);
        }
        if (entry->download.isSilent)
        {
            downloads.WaitWhileStanding(url, entry->edition, std::nullopt);
            return MHD_NO;
        }
        return Reply(connection, entry->download, std::make_unique<CBody>(downloads, url, *entry));
    }

    static MHD_Result
    Reply(MHD_Connection* connection, const SDownload& download, std::unique_ptr<CBody> body)
    {
        const Response response(MHD_create_response_from_callback(
                                    AnnouncedLength(download), BlockSize, &Read, body.release(), &Free),
                                &MHD_destroy_response);
        if (!download.location.empty())
        {
            MHD_add_response_header(response.get(), MHD_HTTP_HEADER_LOCATION, download.location.c_str());
        }
        return MHD_queue_response(connection, download.status, response.get());
    }

    static ssize_t Read(void* body, std::uint64_t position, char* buffer, std::size_t room)
    {
        return static_cast<const CBody*>(body)->Read(
            static_cast<std::int64_t>(position), buffer, static_cast<std::int64_t>(room));
    }

    static void Free(void* body) { const std::unique_ptr<CBody> owned(static_cast<CBody*>(body)); }
};

CDownloadServer::CDownloadServer(std::uint16_t port, CDownloads& downloads)
    : downloads(downloads)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    daemon = MHD_start_daemon(MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_THREAD_PER_CONNECTION,
                              port,
                              nullptr,
                              nullptr,
                              &SCallbacks::Handle,
                              this,
                              MHD_OPTION_SOCK_ADDR,
                              &address,
                              MHD_OPTION_CONNECTION_LIMIT,
                              ConnectionLimit,
                              MHD_OPTION_CONNECTION_TIMEOUT,
                              IdleLimit,
                              MHD_OPTION_END);
    if (daemon == nullptr)
    {
        throw std::runtime_error("can't listen on 127.0.0.1:" + std::to_string(port));
    }
}

CDownloadServer::~CDownloadServer()
{
    downloads.EndWaiting();
    MHD_stop_daemon(daemon);
}

std::uint16_t CDownloadServer::Port() const
{
    const MHD_DaemonInfo* const info = MHD_get_daemon_info(daemon, MHD_DAEMON_INFO_BIND_PORT);
    return info == nullptr ? 0 : info->port;
}

std::string CDownloadServer::Url(const std::string& path) const
{
    return "http://127.0.0.1:" + std::to_string(Port()) + path;
}

} // namespace Simulator
