#pragma once

#include <cstdint>

class ICurrentControl;

/// Limit the charging current, and lift that limit again, on behalf of the local charging schedule. Other
/// sources' limits are not touched.
///
/// Threads: any; they wait for the service.
/// @param limit  in mA
/// @return whether the service agreed; false, with an error line, if it can't be reached
bool SetChargingCurrentLimit(ICurrentControl& currentControl, std::uint32_t limit);
bool ClearChargingCurrentLimit(ICurrentControl& currentControl);
