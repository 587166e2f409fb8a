#include "src/fileserver/fwpackage.h"

#include "src/utils/updateservice.h"

#include "contracts/boardcontrol.h"
#include "platform/log/log.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace
{

constexpr const char* Requester = "WebInterface";

constexpr int Accepted = 0;
constexpr int Failed = 1;

} // namespace

CFwPackage::CFwPackage(std::string path, std::uint32_t maxSize, std::shared_ptr<IBoardControl> boardControl)
    : path(std::move(path))
    , maxSize(maxSize)
    , boardControl(std::move(boardControl))
{
}

std::unique_ptr<IFwPackageWriter> CFwPackage::TryLockWrite()
{
    LOG_ENTRY(CFwPackage, "TryLockWrite");
    if (!TryLock())
    {
        return nullptr;
    }
    return std::make_unique<CFwPackageWriter>(
        path, [this] { Unlock(); }, maxSize);
}

std::unique_ptr<IFwPackageInstaller> CFwPackage::TryLockInstall()
{
    LOG_ENTRY(CFwPackage, "TryLockInstall");
    if (!TryLock())
    {
        return nullptr;
    }
    return std::make_unique<CFwPackageInstaller>(boardControl, [this] { Unlock(); });
}

bool CFwPackage::TryLock()
{
    const std::lock_guard lock(mutex);
    return !std::exchange(locked, true);
}

void CFwPackage::Unlock()
{
    const std::lock_guard lock(mutex);
    locked = false;
}

CFwPackageWriter::CFwPackageWriter(std::filesystem::path path, Release release, std::uint32_t maxSize)
    : path(std::move(path))
    , release(std::move(release))
    , maxSize(maxSize)
{
    LOG_ENTRY(CFwPackageWriter, "CFwPackageWriter");
    CreateDirectory();
    Open();
    GiveToUpdateService(this->path);
}

CFwPackageWriter::~CFwPackageWriter()
{
    if (stream.is_open())
    {
        stream.close();
    }
    release();
}

void CFwPackageWriter::CreateDirectory() const
{
    const std::filesystem::path parent = path.parent_path();
    if (parent.empty())
    {
        release();
        throw std::runtime_error(fmt::format("Parent path of {} is empty.", path.string()));
    }
    std::filesystem::create_directories(parent);
}

void CFwPackageWriter::Open()
{
    // without a buffer, so that a full disk shows at the write and not at the end, where it goes unseen
    stream.rdbuf()->pubsetbuf(nullptr, 0);
    stream.open(path, std::ios::binary | std::ios::out | std::ios::trunc);
    if (!stream)
    {
        release();
        throw std::runtime_error("Could not open firmware package file.");
    }
}

bool CFwPackageWriter::Write(const char* data, std::int32_t size)
{
    if (size < 0)
    {
        return false;
    }
    // it stops at the top: what began anew would let data in again
    const auto room = std::numeric_limits<std::uint32_t>::max() - written;
    written += std::min(static_cast<std::uint32_t>(size), room);
    if (written > maxSize)
    {
        return false;
    }
    stream.write(data, size);
    return !stream.fail();
}

void CFwPackageWriter::Abort()
{
    LOG_ENTRY(CFwPackageWriter, "Abort");
    stream.close();
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
}

std::uint32_t CFwPackageWriter::GetMaxSize()
{
    return maxSize;
}

CFwPackageInstaller::CFwPackageInstaller(std::shared_ptr<IBoardControl> boardControl, Release release)
    : boardControl(std::move(boardControl))
    , release(std::move(release))
{
}

CFwPackageInstaller::~CFwPackageInstaller()
{
    release();
}

int CFwPackageInstaller::Install()
{
    try
    {
        const ipc::MResult result = boardControl->RequestFirmwareUpdate(Requester);
        return result.status() == 0 ? Accepted : Failed;
    }
    catch (const std::runtime_error& exception)
    {
        LOG_ERROR("Firmware update request failed. Error: {}", exception.what());
        return Failed;
    }
}
