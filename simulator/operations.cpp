#include "simulator/operations.h"

#include <algorithm>

namespace Simulator
{

const SOperation* FindOperation(std::string_view service, std::string_view name)
{
    const auto* const found =
        std::find_if(Operations::All.begin(),
                     Operations::All.end(),
                     [&](const SOperation& row) { return row.service == service && row.name == name; });
    return found == Operations::All.end() ? nullptr : found;
}

bool IsServiceName(std::string_view name)
{
    return std::find(ServiceNames.begin(), ServiceNames.end(), name) != ServiceNames.end();
}

} // namespace Simulator
