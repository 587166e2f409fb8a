#include "bench/processstatus.h"

#include <filesystem>
#include <fstream>
#include <string>

namespace
{

/// The number behind a key such as "Pss:" in one of the files of /proc.
long NumberBehind(const std::filesystem::path& file, const std::string& key)
{
    std::ifstream stream(file);
    std::string word;
    while (stream >> word)
    {
        if (word == key)
        {
            long number = 0;
            stream >> number;
            return number;
        }
    }
    return 0;
}

std::filesystem::path Directory(pid_t process)
{
    return "/proc/" + std::to_string(process);
}

} // namespace

long ProcessStatus::ProportionalSetKiB(pid_t process)
{
    return NumberBehind(Directory(process) / "smaps_rollup", "Pss:");
}

long ProcessStatus::ResidentKiB(pid_t process)
{
    return NumberBehind(Directory(process) / "status", "VmRSS:");
}

long ProcessStatus::PeakResidentKiB(pid_t process)
{
    return NumberBehind(Directory(process) / "status", "VmHWM:");
}

void ProcessStatus::ForgetPeak(pid_t process)
{
    std::ofstream marks(Directory(process) / "clear_refs");
    // makes the peak the present size
    marks << 5 << std::flush;
}

long ProcessStatus::VoluntarySwitches(pid_t process)
{
    long switches = 0;
    for (const auto& thread : std::filesystem::directory_iterator(Directory(process) / "task"))
    {
        switches += NumberBehind(thread.path() / "status", "voluntary_ctxt_switches:");
    }
    return switches;
}

long ProcessStatus::Threads(pid_t process)
{
    return NumberBehind(Directory(process) / "status", "Threads:");
}
