#include "platform/toolbox/filetransfer.h"

#include "platform/log/log.h"

#include <cstddef>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace
{

/// What the upload of a firmware package may have too, in bytes.
constexpr std::int64_t LargestFile = 262144000;

/// A file that goes unless it is kept.
class CNewFile
{
public:
    explicit CNewFile(std::filesystem::path path)
        : path(std::move(path))
    {
        std::filesystem::create_directories(this->path.parent_path());
        // without a buffer, so that a full disk shows at the write
        stream.rdbuf()->pubsetbuf(nullptr, 0);
        stream.open(this->path, std::ios::binary | std::ios::out | std::ios::trunc);
        if (!stream)
        {
            throw std::runtime_error("can't write to " + this->path.string());
        }
    }

    ~CNewFile()
    {
        if (!isKept)
        {
            stream.close();
            std::error_code ignored;
            std::filesystem::remove(path, ignored);
        }
    }

    CNewFile(const CNewFile&) = delete;
    CNewFile& operator=(const CNewFile&) = delete;
    CNewFile(CNewFile&&) = delete;
    CNewFile& operator=(CNewFile&&) = delete;

    bool Write(const char* data, std::size_t size)
    {
        stream.write(data, static_cast<std::streamsize>(size));
        return !stream.fail();
    }

    void Keep()
    {
        stream.close();
        if (stream.fail())
        {
            throw std::runtime_error("can't close " + path.string());
        }
        isKept = true;
    }

private:
    const std::filesystem::path path;
    std::ofstream stream;
    bool isKept = false;
};

} // namespace

Toolbox::STransferLimits CFileTransfer::PackageLimits()
{
    Toolbox::STransferLimits limits;
    limits.size = LargestFile;
    return limits;
}

CFileTransfer::CFileTransfer(const Toolbox::STransferLimits& limits)
    : limits(limits)
{
    LOG_ENTRY(CFileTransfer, "CFileTransfer");
}

bool CFileTransfer::Download(const std::string& url,
                             const std::optional<Toolbox::SCredentials>& credentials,
                             const std::filesystem::path& path)
{
    LOG_ENTRY(CFileTransfer, "Download");
    if (!Toolbox::IsTransferPossible())
    {
        return false;
    }
    try
    {
        CNewFile file(path);
        const auto write = [&file](const char* data, std::size_t size) { return file.Write(data, size); };
        Toolbox::TransferUrl({url, std::nullopt, credentials}, limits, write, &interruption);
        file.Keep();
        return true;
    }
    catch (const std::exception& exception)
    {
        LOG_WARN("Transfer of {} failed: {}", url, exception.what());
        return false;
    }
}

void CFileTransfer::Interrupt()
{
    LOG_ENTRY(CFileTransfer, "Interrupt");
    interruption.Interrupt();
}
