#include "platform/config/tarnconfig.h"

#include <signal.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <new>
#include <random>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace
{

/// A directory in memory, where ten thousand writes take no longer than a test may. Syncing makes no
/// difference to what other processes see.
class CMemoryDirectory
{
public:
    CMemoryDirectory()
    {
        if (mkdtemp(path.data()) == nullptr)
        {
            throw std::runtime_error("can't make a directory like " + path);
        }
    }

    ~CMemoryDirectory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }

    CMemoryDirectory(const CMemoryDirectory&) = delete;
    CMemoryDirectory& operator=(const CMemoryDirectory&) = delete;
    CMemoryDirectory(CMemoryDirectory&&) = delete;
    CMemoryDirectory& operator=(CMemoryDirectory&&) = delete;

    std::string Root() const { return path + "/"; }

private:
    std::string path = "/dev/shm/wbXXXXXX";
};

/// A process that runs a function. Ends with 0, or with 1 if the function throws.
class CChild
{
public:
    explicit CChild(const std::function<void()>& function)
        : process(fork())
    {
        if (process != 0)
        {
            return;
        }
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        try
        {
            function();
        }
        catch (const std::exception&)
        {
            _exit(1);
        }
        _exit(0);
    }

    void Kill() const { kill(process, SIGKILL); }

    bool HasEnded() const
    {
        siginfo_t info{};
        waitid(P_PID, static_cast<id_t>(process), &info, WEXITED | WNOHANG | WNOWAIT);
        return info.si_pid != 0;
    }

    /// @return status as of waitpid
    int Wait() const
    {
        int status = 0;
        waitpid(process, &status, 0);
        return status;
    }

private:
    const pid_t process;
};

/// How far a writer is; shared between processes.
struct SProgress
{
    std::atomic<int> begun{0};
    std::atomic<int> done{0};
};

class CSharedProgress
{
public:
    CSharedProgress()
        : memory(mmap(nullptr, sizeof(SProgress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
    {
        if (memory == MAP_FAILED)
        {
            throw std::runtime_error("no shared memory");
        }
        progress = new (memory) SProgress;
    }

    ~CSharedProgress() { munmap(memory, sizeof(SProgress)); }
    CSharedProgress(const CSharedProgress&) = delete;
    CSharedProgress& operator=(const CSharedProgress&) = delete;
    CSharedProgress(CSharedProgress&&) = delete;
    CSharedProgress& operator=(CSharedProgress&&) = delete;

    SProgress* operator->() const { return progress; }

private:
    void* const memory;
    SProgress* progress;
};

/// A value that shows when parts of it are of different writes.
Json::Value Numbered(int number)
{
    Json::Value value;
    value["Number"] = number;
    value["Filler"] = std::string(static_cast<std::size_t>(number % 1000), 'x');
    return value;
}

void BusyWait(std::chrono::microseconds duration)
{
    const auto end = std::chrono::steady_clock::now() + duration;
    while (std::chrono::steady_clock::now() < end)
    {
    }
}

void SetKeys(TarnConfig& config, const std::string& prefix, int count)
{
    for (int number = 0; number < count; ++number)
    {
        config.SetValue(prefix + std::to_string(number), number);
    }
}

int CountKeys(const TarnConfig& config, const std::string& prefix, int count)
{
    int found = 0;
    for (int number = 0; number < count; ++number)
    {
        found += config.GetInt(prefix + std::to_string(number), -1) == number ? 1 : 0;
    }
    return found;
}

} // namespace

TEST(ConfigProcess, WriterThatIsKilledLeavesTheOldValueOrTheNew)
{
    constexpr int writesInAll = 10000;
    constexpr int mostWrites = 200;
    constexpr int longestWriteUs = 300;
    const CMemoryDirectory directory;
    const CSharedProgress progress;
    std::mt19937 random(std::random_device{}());
    std::uniform_int_distribution<int> writes(0, mostWrites);
    std::uniform_int_distribution<int> instant(0, longestWriteUs);
    int kills = 0;
    while (progress->done < writesInAll)
    {
        const int start = progress->done;
        const CChild child(
            [&]
            {
                const auto config = TarnConfig::Create("settings", directory.Root());
                for (int number = start + 1;; ++number)
                {
                    progress->begun = number;
                    config->SetValue("Value", Numbered(number));
                    progress->done = number;
                }
            });
        const int last = start + writes(random);
        while (progress->begun < last && !child.HasEnded())
        {
            std::this_thread::yield();
        }
        BusyWait(std::chrono::microseconds(instant(random)));
        child.Kill();
        const int status = child.Wait();
        ASSERT_TRUE(WIFSIGNALED(status)) << "the writer failed";
        ++kills;

        const auto config = TarnConfig::Create("settings", directory.Root());
        const Json::Value found = config->GetValue("Value", Numbered(0));
        const int number = found["Number"].asInt();
        ASSERT_TRUE(number == progress->done || number == progress->begun)
            << number << " found, " << progress->done << " done, " << progress->begun << " begun";
        ASSERT_EQ(found, Numbered(number));
        progress->begun = number;
        progress->done = number;
    }
    EXPECT_GE(kills, writesInAll / mostWrites / 2);
}

TEST(ConfigProcess, TwoProcessesWithKeysOfTheirOwnLoseNone)
{
    constexpr int keys = 200;
    const CMemoryDirectory directory;
    const CChild one([&] { SetKeys(*TarnConfig::Create("settings", directory.Root()), "One", keys); });
    const CChild two([&] { SetKeys(*TarnConfig::Create("settings", directory.Root()), "Two", keys); });
    ASSERT_EQ(one.Wait(), 0);
    ASSERT_EQ(two.Wait(), 0);

    const auto config = TarnConfig::Create("settings", directory.Root());

    EXPECT_EQ(CountKeys(*config, "One", keys), keys);
    EXPECT_EQ(CountKeys(*config, "Two", keys), keys);
}

TEST(ConfigProcess, TwoObjectsInOneProcessLoseNone)
{
    constexpr int keys = 100;
    const CMemoryDirectory directory;
    const auto one = TarnConfig::Create("settings", directory.Root());
    const auto two = TarnConfig::Create("settings", directory.Root());
    std::thread other([&] { SetKeys(*two, "Two", keys); });
    SetKeys(*one, "One", keys);
    other.join();

    const auto config = TarnConfig::Create("settings", directory.Root());

    EXPECT_EQ(CountKeys(*config, "One", keys), keys);
    EXPECT_EQ(CountKeys(*config, "Two", keys), keys);
}

TEST(ConfigProcess, ThreadsSetAndGetThroughOneObject)
{
    constexpr int keys = 100;
    const CMemoryDirectory directory;
    std::atomic<int> calls{0};
    const auto config =
        TarnConfig::Create("settings",
                           directory.Root(),
                           [&](const std::string& /*key*/, const Json::Value& /*value*/) { ++calls; });
    std::atomic<bool> isOver{false};
    std::thread reader(
        [&]
        {
            while (!isOver)
            {
                for (const std::string& key : config->GetKeys())
                {
                    EXPECT_GE(config->GetInt(key, -1), 0);
                    EXPECT_TRUE(config->GetValue(key, Json::Value()).isInt());
                }
                static_cast<void>(config->HasChanged());
            }
        });
    std::thread reloader(
        [&]
        {
            while (!isOver)
            {
                config->Reload();
            }
        });
    std::thread writer([&] { SetKeys(*config, "One", keys); });
    for (int number = 0; number < keys; ++number)
    {
        const std::string key = "Two" + std::to_string(number);
        config->SetValue(key, number);
        EXPECT_EQ(config->GetInt(key, -1), number);
    }
    writer.join();
    isOver = true;
    reader.join();
    reloader.join();

    EXPECT_EQ(CountKeys(*config, "One", keys), keys);
    EXPECT_EQ(CountKeys(*config, "Two", keys), keys);
    EXPECT_EQ(calls, 2 * keys);
}
