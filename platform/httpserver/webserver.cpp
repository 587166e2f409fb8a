#include "platform/httpserver/webserver.h"

#include "platform/httpserver/exchange.h"
#include "platform/httpserver/routetable.h"

#include <microhttpd.h>

#include <atomic>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <mutex>
#include <stdexcept>

namespace httpserver
{

namespace
{

using Detail::CExchange;

/// The path is decoded later, and the query not at all.
std::size_t LeaveEscaped(void* /*context*/, MHD_Connection* /*connection*/, char* text) noexcept
{
    return std::strlen(text);
}

void EndExchange(void* /*context*/,
                 MHD_Connection* /*connection*/,
                 void** exchange,
                 MHD_RequestTerminationCode /*reason*/) noexcept
{
    const std::unique_ptr<CExchange> ended(static_cast<CExchange*>(*exchange));
    *exchange = nullptr;
}

/// Lets writes to closed sockets and pipes fail with an error code. A handler, unlike SIG_IGN, isn't
/// inherited by programs that the process starts.
void SurviveBrokenPipes()
{
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    action.sa_flags = SA_RESTART;
    sigaction(SIGPIPE, &action, nullptr);
}

} // namespace

/// The daemon of libmicrohttpd and what its callbacks need.
class webserver::CDaemon
{
public:
    explicit CDaemon(const create_webserver& settings)
        : settings(settings)
    {
    }

    void Start();
    bool Stop();
    bool IsRunning() const { return running; }
    void WaitUntilStopped();

    Detail::CRouteTable routes;

private:
    MHD_Daemon* Listen();
    MHD_Result Serve(MHD_Connection* connection,
                     const char* target,
                     const char* method,
                     const char* data,
                     std::size_t& size,
                     void*& state) const;

    static MHD_Result Access(void* self,
                             MHD_Connection* connection,
                             const char* target,
                             const char* method,
                             const char* version,
                             const char* data,
                             std::size_t* size,
                             void** state) noexcept;

    // Constant after construction
    const create_webserver settings;

    std::atomic<bool> running = false;
    std::condition_variable stopped;
    std::mutex mutex;

    // Guarded by mutex
    /// null from the beginning of the stop
    MHD_Daemon* daemon = nullptr;
    /// false at the end of the stop
    bool serving = false;
};

void webserver::CDaemon::Start()
{
    const std::lock_guard lock(mutex);
    MHD_Daemon* const started = serving ? nullptr : Listen();
    if (started == nullptr)
    {
        throw std::invalid_argument("Unable to connect daemon to port: " + std::to_string(settings.port));
    }
    daemon = started;
    serving = true;
    running = true;
}

bool webserver::CDaemon::Stop()
{
    MHD_Daemon* ending = nullptr;
    {
        const std::lock_guard lock(mutex);
        std::swap(ending, daemon);
        running = false;
    }
    if (ending == nullptr)
    {
        return false;
    }
    MHD_stop_daemon(ending);
    {
        // under the lock, since a waiting thread may end the object as soon as it has it
        const std::lock_guard lock(mutex);
        serving = false;
        stopped.notify_all();
    }
    return true;
}

void webserver::CDaemon::WaitUntilStopped()
{
    std::unique_lock lock(mutex);
    stopped.wait(lock, [this] { return !serving; });
}

MHD_Daemon* webserver::CDaemon::Listen()
{
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): so the library takes its options
    return MHD_start_daemon(static_cast<unsigned int>(settings.startMethod),
                            settings.port,
                            nullptr,
                            nullptr,
                            &CDaemon::Access,
                            this,
                            MHD_OPTION_THREAD_POOL_SIZE,
                            static_cast<unsigned int>(settings.maxThreads),
                            MHD_OPTION_CONNECTION_TIMEOUT,
                            static_cast<unsigned int>(settings.connectionTimeout),
                            MHD_OPTION_UNESCAPE_CALLBACK,
                            &LeaveEscaped,
                            nullptr,
                            MHD_OPTION_NOTIFY_COMPLETED,
                            &EndExchange,
                            nullptr,
                            MHD_OPTION_END);
}

MHD_Result webserver::CDaemon::Access(void* self,
                                      MHD_Connection* connection,
                                      const char* target,
                                      const char* method,
                                      const char* /*version*/,
                                      const char* data,
                                      std::size_t* size,
                                      void** state) noexcept
{
    try
    {
        return static_cast<const CDaemon*>(self)->Serve(connection, target, method, data, *size, *state);
    }
    catch (...)
    {
        // libmicrohttpd is C: it closes the connection
        return MHD_NO;
    }
}

MHD_Result webserver::CDaemon::Serve(MHD_Connection* connection,
                                     const char* target,
                                     const char* method,
                                     const char* data,
                                     std::size_t& size,
                                     void*& state) const
{
    if (state == nullptr)
    {
        state = std::make_unique<CExchange>(connection, method, settings.contentSizeLimit).release();
        return MHD_YES;
    }
    auto& exchange = *static_cast<CExchange*>(state);
    if (size > 0)
    {
        exchange.Append(data, size);
        size = 0;
        return MHD_YES;
    }
    return exchange.Answer(target, routes) != 0 ? MHD_YES : MHD_NO;
}

webserver::webserver(const create_webserver& settings)
    : daemon(std::make_unique<CDaemon>(settings))
{
    SurviveBrokenPipes();
}

webserver::~webserver()
{
    stop();
}

bool webserver::start(bool blocking)
{
    daemon->Start();
    if (blocking)
    {
        daemon->WaitUntilStopped();
    }
    return blocking;
}

bool webserver::stop()
{
    return daemon->Stop();
}

bool webserver::is_running() const
{
    return daemon->IsRunning();
}

bool webserver::register_resource(const std::string& path, http_resource* resource, bool family)
{
    return daemon->routes.Add(path, resource, family);
}

void webserver::unregister_resource(const std::string& path)
{
    daemon->routes.Remove(path);
}

} // namespace httpserver
