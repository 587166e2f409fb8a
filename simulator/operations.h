/// What the station's services offer: one row for each operation, stream and notification.
#pragma once

#include <array>
#include <string_view>

namespace Simulator
{

/// What an operation gives back, and so how a fault can answer in its place.
enum class EAnswer
{
    /// a result code; can be refused
    Result,
    Bool,
    /// a WLAN scan, which may be absent
    WlanScan,
    /// a message that only the station itself can make
    Message,
    /// a subscription
    Stream,
    /// one message on a stream, under the name of its subscription without "Subscribe"
    Notification
};

struct SOperation
{
    std::string_view service;
    std::string_view name;
    EAnswer answer;
};

namespace Operations
{

inline constexpr SOperation Reboot{"BoardControl", "Reboot", EAnswer::Result};
inline constexpr SOperation RequestFirmwareUpdate{"BoardControl", "RequestFirmwareUpdate", EAnswer::Result};
inline constexpr SOperation SubscribeFirmwareUpdateStatus{
    "BoardControl", "SubscribeFirmwareUpdateStatus", EAnswer::Stream};
inline constexpr SOperation FirmwareUpdateStatus{
    "BoardControl", "FirmwareUpdateStatus", EAnswer::Notification};

inline constexpr SOperation SetLimit{"CurrentControl", "SetLimit", EAnswer::Result};
inline constexpr SOperation ClearLimit{"CurrentControl", "ClearLimit", EAnswer::Result};

inline constexpr SOperation GetSignal{"Diagnostics", "GetSignal", EAnswer::Message};
inline constexpr SOperation GetSnapshot{"Diagnostics", "GetSnapshot", EAnswer::Message};
inline constexpr SOperation CreateFreezeFrame{"Diagnostics", "CreateFreezeFrame", EAnswer::Result};
inline constexpr SOperation SendSignal{"Diagnostics", "SendSignal", EAnswer::Result};
inline constexpr SOperation SubscribeSignalChange{"Diagnostics", "SubscribeSignalChange", EAnswer::Stream};
inline constexpr SOperation SignalChange{"Diagnostics", "SignalChange", EAnswer::Notification};
inline constexpr SOperation SubscribeFreezeFrameDone{
    "Diagnostics", "SubscribeFreezeFrameDone", EAnswer::Stream};
inline constexpr SOperation FreezeFrameDone{"Diagnostics", "FreezeFrameDone", EAnswer::Notification};

inline constexpr SOperation SendEvent{"Feedback", "SendEvent", EAnswer::Result};

inline constexpr SOperation GetMeterData{"MeterService", "GetMeterData", EAnswer::Message};

inline constexpr SOperation ScanWlan{"NetM", "ScanWlan", EAnswer::WlanScan};
inline constexpr SOperation ValidateConfig{"NetM", "ValidateConfig", EAnswer::Bool};
inline constexpr SOperation SubscribeNetworkStatus{"NetM", "SubscribeNetworkStatus", EAnswer::Stream};
inline constexpr SOperation NetworkStatus{"NetM", "NetworkStatus", EAnswer::Notification};

inline constexpr SOperation SetTokenReport{"Rfid", "SetTokenReport", EAnswer::Result};
inline constexpr SOperation SubscribeTokenFound{"Rfid", "SubscribeTokenFound", EAnswer::Stream};
inline constexpr SOperation TokenFound{"Rfid", "TokenFound", EAnswer::Notification};

inline constexpr SOperation GetConnectorInfo{"SessionManager", "GetConnectorInfo", EAnswer::Message};
inline constexpr SOperation SubscribeConnectorState{
    "SessionManager", "SubscribeConnectorState", EAnswer::Stream};
inline constexpr SOperation ConnectorState{"SessionManager", "ConnectorState", EAnswer::Notification};

inline constexpr std::array All{Reboot,
                                RequestFirmwareUpdate,
                                SubscribeFirmwareUpdateStatus,
                                FirmwareUpdateStatus,
                                SetLimit,
                                ClearLimit,
                                GetSignal,
                                GetSnapshot,
                                CreateFreezeFrame,
                                SendSignal,
                                SubscribeSignalChange,
                                SignalChange,
                                SubscribeFreezeFrameDone,
                                FreezeFrameDone,
                                SendEvent,
                                GetMeterData,
                                ScanWlan,
                                ValidateConfig,
                                SubscribeNetworkStatus,
                                NetworkStatus,
                                SetTokenReport,
                                SubscribeTokenFound,
                                TokenFound,
                                GetConnectorInfo,
                                SubscribeConnectorState,
                                ConnectorState};

} // namespace Operations

inline constexpr std::array<std::string_view, 8> ServiceNames{"BoardControl",
                                                              "CurrentControl",
                                                              "Diagnostics",
                                                              "Feedback",
                                                              "MeterService",
                                                              "NetM",
                                                              "Rfid",
                                                              "SessionManager"};

/// @return null if the service has no operation of that name
const SOperation* FindOperation(std::string_view service, std::string_view name);

bool IsServiceName(std::string_view name);

} // namespace Simulator
