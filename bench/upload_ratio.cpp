/// An upload of 200 MiB to the server of firmware packages, beside one to a bare libmicrohttpd server that
/// writes the same value of the same form to a file, and beside cat, which copies a file of that size, in
/// turn. All three write to the same file system. Goals: 0.95 of the bare server's throughput, 1.1 of its
/// processor time, and at most 1 MiB of memory more than when idle.
///
/// Each server has a process of its own; the client is in this one.
///
///     upload_ratio [DIRECTORY]
///
/// with a directory on a tmpfs, /dev/shm by default.
#include "src/fileserver/fileserver.h"
#include "src/fileserver/fwpackage.h"
#include "src/session/authorization.h"

#include "contracts/boardcontrol.h"
#include "platform/config/tarnconfig.h"

#include <fcntl.h>
#include <microhttpd.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/formdata.h"
#include "tests/support/rawhttp.h"
#include "tests/support/temporarydirectory.h"

#include "bench/processstatus.h"
#include "bench/ratio.h"

namespace
{

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr std::uint16_t OurPort = 18086;
constexpr std::uint16_t BarePort = 18087;
constexpr std::size_t Mebibyte = 1 << 20;
constexpr std::size_t PackageMebibytes = 200;
constexpr std::uint32_t LargestPackage = 262144000;
constexpr std::size_t FormBufferSize = 32768;
constexpr int Rounds = 20;

const std::string SessionKey(64, 'a');

/// What one pass took.
struct SCost
{
    double wall = 0;      // seconds
    double processor = 0; // seconds, of the server alone
};

/// A server that writes the values of a form to a file, with nothing else around it.
class CBareServer
{
public:
    explicit CBareServer(const fs::path& file)
        : request{file, -1, nullptr}
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): so the library takes its options
        , daemon(MHD_start_daemon(
              MHD_USE_INTERNAL_POLLING_THREAD, BarePort, nullptr, nullptr, &Handle, &request, MHD_OPTION_END))
    {
        if (daemon == nullptr)
        {
            throw std::runtime_error("Cannot start the bare server");
        }
    }

    ~CBareServer() { MHD_stop_daemon(daemon); }
    CBareServer(const CBareServer&) = delete;
    CBareServer& operator=(const CBareServer&) = delete;
    CBareServer(CBareServer&&) = delete;
    CBareServer& operator=(CBareServer&&) = delete;

private:
    /// There is one at a time.
    struct SRequest
    {
        const fs::path path;
        int file;
        MHD_PostProcessor* processor;
    };

    static MHD_Result Write(void* context,
                            MHD_ValueKind /*kind*/,
                            const char* /*key*/,
                            const char* /*filename*/,
                            const char* /*contentType*/,
                            const char* /*transferEncoding*/,
                            const char* data,
                            std::uint64_t /*offset*/,
                            std::size_t size)
    {
        const ssize_t written = write(static_cast<SRequest*>(context)->file, data, size);
        return written == static_cast<ssize_t>(size) ? MHD_YES : MHD_NO;
    }

    static MHD_Result Handle(void* context,
                             MHD_Connection* connection,
                             const char* /*url*/,
                             const char* /*method*/,
                             const char* /*version*/,
                             const char* data,
                             std::size_t* size,
                             void** state)
    {
        SRequest& request = *static_cast<SRequest*>(context);
        if (*state == nullptr)
        {
            *state = &request;
            request.file = open(request.path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
            request.processor = MHD_create_post_processor(connection, FormBufferSize, &Write, &request);
            return MHD_YES;
        }
        if (*size != 0)
        {
            const MHD_Result result = MHD_post_process(request.processor, data, *size);
            *size = 0;
            return result;
        }
        MHD_destroy_post_processor(request.processor);
        close(request.file);
        return Answer(connection);
    }

    static MHD_Result Answer(MHD_Connection* connection)
    {
        std::string text = "Created";
        MHD_Response* response =
            MHD_create_response_from_buffer(text.size(), text.data(), MHD_RESPMEM_MUST_COPY);
        MHD_add_response_header(response, "Content-Type", "text/html");
        const MHD_Result result = MHD_queue_response(connection, MHD_HTTP_CREATED, response);
        MHD_destroy_response(response);
        return result;
    }

    SRequest request;
    MHD_Daemon* const daemon;
};

/// Accepts every update.
class CAgreeableBoard : public IBoardControl
{
public:
    ipc::MResult Reboot(ERebootType /*type*/) override { return {}; }
    ipc::MResult RequestFirmwareUpdate(const std::string& /*requester*/) override { return {}; }
};

/// The server as the process makes it, with a session store on disk.
class COurServer
{
public:
    explicit COurServer(const fs::path& file)
        : authorization(
              (files.Write("data/config/secrets.json",
                           R"({"WebSessions": [{"Key": ")" + SessionKey + R"(", "Expiry": 4102444800}]})"),
               std::make_shared<CAuthorization>(TarnConfig::Create("secrets", files.Root()))))
        , server(OurPort,
                 std::make_shared<CFwPackage>(
                     file.string(), LargestPackage, std::make_shared<CAgreeableBoard>()),
                 authorization)
    {
        server.Start();
    }

private:
    const CTemporaryDirectory files;
    const std::shared_ptr<CAuthorization> authorization;
    CFileServer server;
};

/// A server in a process of its own, which goes with the object.
class CServerProcess
{
public:
    /// @param make  makes the server in that process, where it then stays
    CServerProcess(std::uint16_t port, const std::function<std::shared_ptr<void>()>& make)
        : port(port)
    {
        std::array<int, 2> ends{};
        if (pipe2(ends.data(), O_CLOEXEC) != 0)
        {
            throw std::runtime_error("Cannot make a pipe");
        }
        pid = fork();
        char ready = 0;
        if (pid == 0)
        {
            const std::shared_ptr<void> server = make();
            if (write(ends[1], &ready, 1) == 1)
            {
                pause();
            }
            _exit(EXIT_FAILURE);
        }
        close(ends[1]);
        const bool isReady = read(ends[0], &ready, 1) == 1;
        close(ends[0]);
        if (!isReady)
        {
            throw std::runtime_error("A server does not start");
        }
    }

    ~CServerProcess()
    {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }

    CServerProcess(const CServerProcess&) = delete;
    CServerProcess& operator=(const CServerProcess&) = delete;
    CServerProcess(CServerProcess&&) = delete;
    CServerProcess& operator=(CServerProcess&&) = delete;

    SCost Upload(const std::string& block) const
    {
        const std::string end = "\r\n" + FormEnd();
        const std::string begin = FileHead("firmware");
        CRawHttp client(port, std::chrono::seconds(60));

        const double processor = ProcessorSeconds();
        const Clock::time_point start = Clock::now();
        client.Send("PUT / HTTP/1.1\r\nHost: localhost\r\nCookie: sessionid=" + SessionKey +
                    "\r\nContent-Type: " + FormType() + "\r\nContent-Length: " +
                    std::to_string(begin.size() + PackageMebibytes * Mebibyte + end.size()) + "\r\n\r\n" +
                    begin);
        for (std::size_t sent = 0; sent < PackageMebibytes; ++sent)
        {
            client.Send(block);
        }
        client.Send(end);
        const SHttpResponse response = client.Receive();
        const Seconds wall = Clock::now() - start;
        if (response.status != 201)
        {
            throw std::runtime_error("An upload fails: " + response.statusLine + ' ' + response.body);
        }
        return {wall.count(), ProcessorSeconds() - processor};
    }

    pid_t Id() const { return pid; }

private:
    double ProcessorSeconds() const
    {
        clockid_t clock{};
        timespec time{};
        clock_getcpuclockid(pid, &clock);
        clock_gettime(clock, &time);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
    }

    const std::uint16_t port;
    pid_t pid = -1;
};

/// Removes what was written, which has to be all of it.
void Remove(const fs::path& package)
{
    if (fs::file_size(package) != PackageMebibytes * Mebibyte)
    {
        throw std::runtime_error("Not all has been written");
    }
    fs::remove(package);
}

SCost Copy(const fs::path& source, const fs::path& target)
{
    const Clock::time_point start = Clock::now();
    const pid_t pid = fork();
    if (pid == 0)
    {
        const int file = open(target.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        dup2(file, STDOUT_FILENO);
        execl("/bin/cat", "cat", source.c_str(), nullptr);
        _exit(127);
    }
    int status = 0;
    rusage used{};
    wait4(pid, &status, 0, &used);
    const Seconds wall = Clock::now() - start;
    if (status != 0)
    {
        throw std::runtime_error("cat fails");
    }
    const auto seconds = [](const timeval& time)
    { return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6; };
    return {wall.count(), seconds(used.ru_utime) + seconds(used.ru_stime)};
}

/// Costs of one of the three over all rounds.
class CCosts
{
public:
    void Add(const SCost& cost)
    {
        walls.push_back(cost.wall);
        processors.push_back(cost.processor);
    }

    void Print(const char* name, const CCosts& base) const
    {
        std::printf("%-6s %7.0f MiB/s, %.3f of the bare server's   %.3f s of processor time, %.3f of its\n",
                    name,
                    PackageMebibytes / Median(walls),
                    MedianRatio(base.walls, walls),
                    Median(processors),
                    MedianRatio(processors, base.processors));
    }

private:
    /// Of what was measured in the same rounds.
    static double MedianRatio(const std::vector<double>& values, const std::vector<double>& bases)
    {
        std::vector<double> ratios;
        for (std::size_t round = 0; round < values.size(); ++round)
        {
            ratios.push_back(values[round] / bases[round]);
        }
        return Median(ratios);
    }

    std::vector<double> walls;
    std::vector<double> processors;
};

} // namespace

int main(int argc, char** argv)
{
    std::string directory = std::string(argc > 1 ? argv[1] : "/dev/shm") + "/uploadXXXXXX";
    if (mkdtemp(directory.data()) == nullptr)
    {
        std::fprintf(stderr, "usage: upload_ratio [DIRECTORY]\n");
        return EXIT_FAILURE;
    }
    const fs::path source = fs::path(directory) / "source";
    const fs::path package = fs::path(directory) / "package.swu";
    const std::string block(Mebibyte, 'f');
    {
        std::ofstream file(source, std::ios::binary);
        for (std::size_t written = 0; written < PackageMebibytes; ++written)
        {
            file << block;
        }
    }
    const CServerProcess bare(BarePort, [&] { return std::make_shared<CBareServer>(package); });
    const CServerProcess ours(OurPort, [&] { return std::make_shared<COurServer>(package); });
    ours.Upload(block);
    Remove(package);
    bare.Upload(block);
    Remove(package);

    CCosts ourCosts;
    CCosts bareCosts;
    CCosts copyCosts;
    ProcessStatus::ForgetPeak(ours.Id());
    const long idle = ProcessStatus::ResidentKiB(ours.Id());
    for (int round = 0; round < Rounds; ++round)
    {
        // in either order, since the one that comes after cat finds another memory than the other
        for (const bool isOurs : {round % 2 == 0, round % 2 != 0})
        {
            isOurs ? ourCosts.Add(ours.Upload(block)) : bareCosts.Add(bare.Upload(block));
            Remove(package);
        }
        copyCosts.Add(Copy(source, package));
        Remove(package);
    }
    const long growth = ProcessStatus::PeakResidentKiB(ours.Id()) - idle;
    std::printf("%zu MiB to %s, medians of %d rounds:\n", PackageMebibytes, directory.c_str(), Rounds);
    ourCosts.Print("ours", bareCosts);
    bareCosts.Print("bare", bareCosts);
    copyCosts.Print("cat", bareCosts);
    std::printf("goals: 0.95 of the throughput, 1.1 of the processor time\n");
    std::printf(
        "peak resident memory    %ld KiB above the %ld KiB when idle (goal 1024 KiB)\n", growth, idle);
    fs::remove_all(directory);
    return EXIT_SUCCESS;
}
