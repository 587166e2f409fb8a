#include "platform/config/tarnconfig.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include <benchmark/benchmark.h>

namespace
{

/// A root with a settings file of 35 keys.
class CRoot
{
public:
    explicit CRoot(const std::string& parent)
    {
        path = parent + "/configbenchXXXXXX";
        if (mkdtemp(path.data()) == nullptr)
        {
            throw std::runtime_error("Cannot make " + path);
        }
        std::filesystem::create_directories(path + "/etc/config");
        std::filesystem::create_directories(path + "/data/config");
        std::ofstream file(path + "/etc/config/settings.json");
        file << "{\n";
        for (int key = 0; key < 34; ++key)
        {
            file << "\"HmiLedIntensitySetting" << key << "\": " << key << ",\n";
        }
        file << "\"InstallationComplete\": true\n}\n";
    }

    ~CRoot() { std::filesystem::remove_all(path); }
    CRoot(const CRoot&) = delete;
    CRoot& operator=(const CRoot&) = delete;
    CRoot(CRoot&&) = delete;
    CRoot& operator=(CRoot&&) = delete;

    std::string Prefix() const { return path + "/"; }

private:
    std::string path;
};

/// Goal: less than 200 ns.
void GetBool(benchmark::State& state)
{
    const CRoot root("/tmp");
    const auto config = TarnConfig::Create("settings", root.Prefix());
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(config->GetBool("InstallationComplete", false));
    }
}
BENCHMARK(GetBool);

/// One that changes something, to memory and to the disk below /var/tmp.
void SetString(benchmark::State& state, const char* parent)
{
    const CRoot root(parent);
    const auto config = TarnConfig::Create("settings", root.Prefix());
    int number = 0;
    for (auto _ : state)
    {
        config->SetString("TimeZone", std::to_string(++number));
    }
}
BENCHMARK_CAPTURE(SetString, Memory, "/dev/shm");
BENCHMARK_CAPTURE(SetString, Disk, "/var/tmp");

/// One of the value in force, which writes nothing.
void SetOfAnEqualValue(benchmark::State& state)
{
    const CRoot root("/tmp");
    const auto config = TarnConfig::Create("settings", root.Prefix());
    for (auto _ : state)
    {
        config->SetBool("InstallationComplete", true);
    }
}
BENCHMARK(SetOfAnEqualValue);

} // namespace
