#include "src/utils/tar.h"

#include "platform/log/log.h"
#include "platform/toolbox/program.h"

#include <filesystem>
#include <system_error>

namespace
{

namespace fs = std::filesystem;

void LogFiles(const std::string& directory)
{
    std::error_code error;
    for (fs::directory_iterator entry(directory, error); !error && entry != fs::directory_iterator();
         entry.increment(error))
    {
        std::error_code gone;
        if (entry->is_regular_file(gone))
        {
            LOG_DEBUG("Packaging {}", entry->path().string());
        }
    }
}

} // namespace

bool Tar(const std::string& directory, const std::string& archive)
{
    LogFiles(directory);
    // a colon in the archive's name means no other host, and a dash at the directory's begin no option
    const Toolbox::SProgramEnd end =
        Toolbox::RunProgram({"/bin/tar", "--force-local", "-cf", archive, "--", directory});
    if (end.status != 0)
    {
        LOG_ERROR("Command '/bin/tar -cf {} {}' failed: {}", archive, directory, end.status);
        return false;
    }
    return true;
}
