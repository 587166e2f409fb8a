#include "tests/support/childprocess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <stdexcept>

class CChildProcess::CReader
{
public:
    CReader()
    {
        if (pipe2(ends.data(), O_CLOEXEC) != 0)
        {
            throw std::runtime_error("Cannot make a pipe");
        }
    }

    ~CReader()
    {
        CloseWriteEnd();
        thread.join();
        close(ends[0]);
    }

    CReader(const CReader&) = delete;
    CReader& operator=(const CReader&) = delete;
    CReader(CReader&&) = delete;
    CReader& operator=(CReader&&) = delete;

    int WriteEnd() const { return ends[1]; }

    void Start()
    {
        CloseWriteEnd();
        thread = std::thread([this] { Read(); });
    }

    bool AwaitLine(const std::string& text, std::chrono::milliseconds patience)
    {
        return lines.AwaitAny([&](const std::string& line) { return line.find(text) != std::string::npos; },
                              patience);
    }

    /// Waits until the child, and whoever inherited the stream, has closed it.
    void AwaitEnd()
    {
        lines.AwaitAny([](const std::string& line) { return line == EndMark; });
    }

    std::string Text()
    {
        std::string text;
        for (const std::string& line : lines.Await(0))
        {
            text += line == EndMark ? "" : line;
        }
        return text;
    }

private:
    inline static const std::string EndMark{"\0end", 4};

    void CloseWriteEnd()
    {
        if (ends[1] >= 0)
        {
            close(ends[1]);
            ends[1] = -1;
        }
    }

    void Read()
    {
        std::string pending;
        std::array<char, 4096> buffer;
        ssize_t length = 0;
        while ((length = read(ends[0], buffer.data(), buffer.size())) > 0)
        {
            pending.append(buffer.data(), static_cast<std::size_t>(length));
            std::size_t end = 0;
            while ((end = pending.find('\n')) != std::string::npos)
            {
                lines.Add(pending.substr(0, end + 1));
                pending.erase(0, end + 1);
            }
        }
        if (!pending.empty())
        {
            lines.Add(pending);
        }
        lines.Add(EndMark);
    }

    std::array<int, 2> ends{-1, -1};
    CCollector<std::string> lines;
    std::thread thread;
};

CChildProcess::CChildProcess(std::vector<std::string> command)
    : output(std::make_unique<CReader>())
    , errors(std::make_unique<CReader>())
{
    std::vector<char*> arguments;
    for (std::string& word : command)
    {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);

    pid = fork();
    if (pid == 0)
    {
        dup2(output->WriteEnd(), STDOUT_FILENO);
        dup2(errors->WriteEnd(), STDERR_FILENO);
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    output->Start();
    errors->Start();
    if (pid < 0)
    {
        throw std::runtime_error("Cannot start " + command[0]);
    }
}

CChildProcess::~CChildProcess()
{
    if (pid > 0 && !ended)
    {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
}

void CChildProcess::Signal(int number) const
{
    kill(pid, number);
}

SProcessEnd CChildProcess::AwaitEnd(std::chrono::milliseconds patience)
{
    const auto begin = std::chrono::steady_clock::now();
    pollfd descriptor{};
    descriptor.fd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
    descriptor.events = POLLIN;
    const int ready = poll(&descriptor, 1, static_cast<int>(patience.count()));
    close(descriptor.fd);
    if (ready != 1)
    {
        throw std::runtime_error("The process does not end. It wrote:\n" + Errors());
    }

    int status = 0;
    waitpid(pid, &status, 0);
    ended = true;
    output->AwaitEnd();
    errors->AwaitEnd();

    SProcessEnd end;
    end.duration =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin);
    end.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    end.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    return end;
}

bool CChildProcess::AwaitErrorLine(const std::string& text, std::chrono::milliseconds patience)
{
    return errors->AwaitLine(text, patience);
}

std::string CChildProcess::Output()
{
    return output->Text();
}

std::string CChildProcess::Errors()
{
    return errors->Text();
}
