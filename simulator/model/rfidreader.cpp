#include "simulator/model/rfidreader.h"

#include <utility>

namespace Simulator
{

CRfidReader::CRfidReader(std::function<void(const std::string&)> tokenFound)
    : tokenFound(std::move(tokenFound))
{
}

void CRfidReader::SetReport(bool on)
{
    const std::lock_guard lock(mutex);
    isReporting = on;
}

bool CRfidReader::IsReporting() const
{
    const std::lock_guard lock(mutex);
    return isReporting;
}

bool CRfidReader::Tap(const std::string& token) const
{
    if (!IsReporting())
    {
        return false;
    }
    tokenFound(token);
    return true;
}

} // namespace Simulator
