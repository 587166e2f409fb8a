/// The station's services for tests. Notifications are the interfaces' own: a test calls the member.
#pragma once

#include "contracts/boardcontrol.h"
#include "contracts/currentcontrol.h"
#include "contracts/diagnostics.h"
#include "contracts/feedback.h"
#include "contracts/meter.h"
#include "contracts/netm.h"
#include "contracts/rfid.h"
#include "contracts/sessionmanager.h"

#include <optional>
#include <string>

#include <gmock/gmock.h>

class CMockBoardControl : public IBoardControl
{
public:
    MOCK_METHOD(ipc::MResult, Reboot, (ERebootType type), (override));
    MOCK_METHOD(ipc::MResult, RequestFirmwareUpdate, (const std::string& requester), (override));
};

class CMockDiagnostics : public IDiagnostics
{
public:
    MOCK_METHOD(ipc::MDiagnosticsSignal, GetSignal, (const ipc::MSignalIdentifier& identifier), (override));
    MOCK_METHOD(ipc::MDiagnosticsSnapshot, GetSnapshot, (), (override));
    MOCK_METHOD(ipc::MResult, CreateFreezeFrame, (const std::string& reason), (override));
};

class CMockDiagnosticsReport : public IDiagnosticsReport
{
public:
    MOCK_METHOD(ipc::MResult, SendSignal, (const ipc::MSignalReport& report), (override));
};

class CMockFeedback : public IFeedback
{
public:
    MOCK_METHOD(ipc::MResult, SendEvent, (const ipc::MFbEventType& event), (override));
};

class CMockNetM : public INetM
{
public:
    MOCK_METHOD(std::optional<ipc::MScanWlan>, ScanWlan, (), (override));
    MOCK_METHOD(bool, ValidateConfig, (), (override));
};

class CMockRfid : public IRfid
{
public:
    MOCK_METHOD(ipc::MResult, SetTokenReport, (bool enable), (override));
};

class CMockCurrentControl : public ICurrentControl
{
public:
    MOCK_METHOD(ipc::MResult, SetLimit, (const ipc::MCurrentControlLimit& limit), (override));
    MOCK_METHOD(ipc::MResult, ClearLimit, (const ipc::MCurrentControlLimit& limit), (override));
};

class CMockSessionManager : public ISessionManager
{
public:
    MOCK_METHOD(ipc::MConnectorInfo, GetConnectorInfo, (), (override));
};

class CMockMeter : public IMeter
{
public:
    MOCK_METHOD(ipc::MResult, Enable, (), (override));
    MOCK_METHOD(ipc::MResult, Disable, (), (override));
    MOCK_METHOD(ipc::MResult, Reset, (), (override));
    MOCK_METHOD(ipc::MMeterData, GetMeterData, (), (override));
    MOCK_METHOD(std::string, GetSerialNumber, (), (override));
    MOCK_METHOD(ipc::MResult, StartSession, (), (override));
    MOCK_METHOD(ipc::MResult, StopSession, (), (override));
    MOCK_METHOD(ipc::MResult, EnableDisplay, (), (override));
    MOCK_METHOD(ipc::MResult, DisableDisplay, (), (override));
    MOCK_METHOD(ipc::MResult, SelfTest, (), (override));
    MOCK_METHOD(std::string, GetFirmwareVersion, (), (override));
};
