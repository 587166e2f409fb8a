/// The station's messages as JSON, for records of calls and views of the model. Keys are the words of the
/// contract in Pascal case, enumerations are numbers, and an absent part has no key. Floats that are no
/// numbers are the texts "NaN", "Infinity" and "-Infinity".
#pragma once

#include "contracts/station.pb.h"

#include <json/value.h>

namespace Simulator
{

Json::Value ToJson(const ipc::MVoid& message);
Json::Value ToJson(const ipc::MBool& message);
Json::Value ToJson(const ipc::MText& message);
Json::Value ToJson(const ipc::MRebootType& message);
Json::Value ToJson(const ipc::MSignalIdentifier& message);
Json::Value ToJson(const ipc::MDiagnosticsSignal& message);
Json::Value ToJson(const ipc::MDiagnosticsSnapshot& message);
Json::Value ToJson(const ipc::MSignalReport& message);
Json::Value ToJson(const ipc::MFbEventType& message);
Json::Value ToJson(const ipc::MCurrentControlLimit& message);
Json::Value ToJson(const ipc::MConnectorInfo& message);
Json::Value ToJson(const ipc::MMeterData& message);
Json::Value ToJson(const ipc::MNetStatus& message);
Json::Value ToJson(const ipc::MWlanNetwork& message);

} // namespace Simulator
