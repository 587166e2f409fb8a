#include "platform/toolbox/program.h"

#include "platform/toolbox/descriptor.h"
#include "platform/toolbox/interruption.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <system_error>

namespace Toolbox
{

namespace
{

/// What is kept of the program's standard error, in bytes.
constexpr std::size_t LongestErrors = 1024;

constexpr int NotStarted = 127;
constexpr int EndedBySignal = 128;

/// Where a child's own descriptors begin.
constexpr int FirstOwn = STDERR_FILENO + 1;

[[noreturn]] void ThrowErrno(const char* what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

/// A number above the standard ones, so that putting one descriptor into its place covers no other.
int AboveStandard(const CDescriptor& descriptor, const char* what)
{
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): fcntl has no other form
    const int number = fcntl(descriptor.Get(), F_DUPFD_CLOEXEC, FirstOwn);
    if (number < 0)
    {
        ThrowErrno(what);
    }
    return number;
}

/// A file in memory that is read from its beginning.
int MakeMemoryFile(std::string_view contents)
{
    const CDescriptor file(memfd_create("program", MFD_CLOEXEC));
    while (file.Get() >= 0 && !contents.empty())
    {
        const ssize_t written = write(file.Get(), contents.data(), contents.size());
        if (written < 0)
        {
            break;
        }
        contents.remove_prefix(static_cast<std::size_t>(written));
    }
    if (file.Get() < 0 || !contents.empty() || lseek(file.Get(), 0, SEEK_SET) != 0)
    {
        ThrowErrno("a file in memory");
    }
    return AboveStandard(file, "a file in memory");
}

std::string ReadBeginning(int file)
{
    std::string text(LongestErrors, '\0');
    const ssize_t size = pread(file, text.data(), text.size(), 0);
    text.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
    return text;
}

/// What posix_spawn is told of descriptors: the three given ones in the standard places, and no other.
class CFileActions
{
public:
    CFileActions(int input, int output, int errors)
    {
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
        posix_spawn_file_actions_addclosefrom_np(&actions, FirstOwn);
    }
    ~CFileActions() { posix_spawn_file_actions_destroy(&actions); }
    CFileActions(const CFileActions&) = delete;
    CFileActions& operator=(const CFileActions&) = delete;
    CFileActions(CFileActions&&) = delete;
    CFileActions& operator=(CFileActions&&) = delete;

    const posix_spawn_file_actions_t* Get() const { return &actions; }

private:
    posix_spawn_file_actions_t actions{};
};

/// Signals as a program finds them when it is started from a shell, whatever this thread does with them.
class CAttributes
{
public:
    CAttributes()
    {
        sigset_t all;
        sigset_t none;
        sigfillset(&all);
        sigemptyset(&none);
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setsigdefault(&attributes, &all);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    }
    ~CAttributes() { posix_spawnattr_destroy(&attributes); }
    CAttributes(const CAttributes&) = delete;
    CAttributes& operator=(const CAttributes&) = delete;
    CAttributes(CAttributes&&) = delete;
    CAttributes& operator=(CAttributes&&) = delete;

    const posix_spawnattr_t* Get() const { return &attributes; }

private:
    posix_spawnattr_t attributes{};
};

/// @return what posix_spawn returns: 0 or an error number
int Spawn(std::vector<std::string> command, const CFileActions& actions, pid_t& child)
{
    std::string path = "PATH=/usr/bin:/bin";
    std::string locale = "LC_ALL=C";
    const std::array<char*, 3> environment{path.data(), locale.data(), nullptr};
    std::vector<char*> arguments;
    for (std::string& argument : command)
    {
        arguments.push_back(argument.data());
    }
    arguments.push_back(nullptr);
    const CAttributes attributes;
    return posix_spawn(
        &child, arguments.front(), actions.Get(), attributes.Get(), arguments.data(), environment.data());
}

/// Waits for a program's end but leaves its number taken.
void AwaitEnd(pid_t child)
{
    siginfo_t state = {};
    while (waitid(P_PID, static_cast<id_t>(child), &state, WEXITED | WNOWAIT) != 0)
    {
        if (errno != EINTR)
        {
            ThrowErrno("the end of a program");
        }
    }
}

/// Waits for a program's end, which an interruption brings about. @return whether there was one
bool IsInterrupted(pid_t child, CInterruption& interruption)
{
    std::atomic<bool> killed{false};
    const auto end = [child, &killed]
    {
        kill(child, SIGKILL);
        killed = true;
    };
    // the number can't be another program's: it is taken until the hold has gone
    const CInterruption::CHold hold(interruption, end);
    AwaitEnd(child);
    return killed;
}

int AwaitStatus(pid_t child)
{
    int state = 0;
    while (waitpid(child, &state, 0) < 0)
    {
        if (errno != EINTR)
        {
            ThrowErrno("the end of a program");
        }
    }
    return WIFEXITED(state) ? WEXITSTATUS(state) : EndedBySignal + WTERMSIG(state);
}

} // namespace

SProgramEnd RunProgram(const std::vector<std::string>& command,
                       std::string_view input,
                       int output,
                       CInterruption* interruption)
{
    const CDescriptor target(output < 0 ? open("/dev/null", O_WRONLY | O_CLOEXEC) : dup(output));
    const CDescriptor standardInput(MakeMemoryFile(input));
    const CDescriptor standardOutput(AboveStandard(target, "the output of a program"));
    const CDescriptor standardError(MakeMemoryFile({}));
    pid_t child = -1;
    const int error =
        Spawn(command, CFileActions(standardInput.Get(), standardOutput.Get(), standardError.Get()), child);
    if (error != 0)
    {
        return {NotStarted, strerrordesc_np(error)};
    }
    const bool interrupted = interruption != nullptr && IsInterrupted(child, *interruption);
    const int status = AwaitStatus(child);
    if (interrupted)
    {
        throw std::system_error(std::make_error_code(std::errc::operation_canceled), command.front());
    }
    return {status, ReadBeginning(standardError.Get())};
}

} // namespace Toolbox
