/// The diagnostics signals that the station knows: 205 definitions, one table for each type of value. The
/// signals themselves live in the Diagnostics service. All of it is constant data; nothing is made at the
/// process's start.
///
/// -1000 stands for no measurement yet, -1000000 where the unit is a thousandth of a degree, "Unknown" for
/// most strings.
#pragma once

#include "contracts/diagnostics/signaldefinition.h"
#include "contracts/station.pb.h"

#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace Signals
{

// The signals that are sent or read by name

extern const CSignalDefinition<std::string>& Recommissioned;
extern const CSignalDefinition<std::string>& ReconfigurationOfSecurityParameters;
extern const CSignalDefinition<std::string>& FactoryReset;
extern const CSignalDefinition<std::string>& ReconfigurationOfParameter;
extern const CSignalDefinition<std::string>& UserActionPerformed;

/// The initial value of a signal of any type. Values come over the wire in the order of the first six kinds.
using InitialValue = std::variant<bool,
                                  int,
                                  unsigned int,
                                  long long,
                                  float,
                                  std::string_view,
                                  CInitialList<bool>,
                                  CInitialList<int>,
                                  CInitialList<unsigned int>,
                                  CInitialList<float>,
                                  CInitialList<std::string_view>>;

/// A definition of any type.
struct SDescription
{
    ipc::ESignalIdentifier identifier;
    std::string_view description;
    InitialValue initialValue;
    std::string_view unit;
};

/// All definitions in order of their identifiers.
std::vector<SDescription> Descriptions();

/// @throws std::out_of_range "map::at" if there is no such signal
InitialValue FindInitialValue(ipc::ESignalIdentifier identifier);

} // namespace Signals
