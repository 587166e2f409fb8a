/// The diagnostics signals that the station knows: one definition each, in order of their identifiers. The
/// signals themselves live in the Diagnostics service.
#pragma once

#include "contracts/diagnostics/signaldefinition.h"
#include "contracts/station.pb.h"

#include <string>

namespace Signals
{

inline const CSignalDefinition<std::string> UserActionPerformed{
    ipc::ESignalIdentifierUserActionPerformed, "User has interacted with ZORN", "", ""};

} // namespace Signals
