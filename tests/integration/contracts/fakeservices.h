/// The station's services as fakes: each operation records and answers, each subscription sends what a test
/// says.
#pragma once

#include "contracts/station.grpc.pb.h"

#include "tests/integration/contracts/fakeoperation.h"

class CFakeBoard : public ipc::BoardControl::Service
{
public:
    grpc::Status
    Reboot(grpc::ServerContext* /*context*/, const ipc::MRebootType* request, ipc::MResult* response) override
    {
        return reboot.Take(*request, *response);
    }

    grpc::Status RequestFirmwareUpdate(grpc::ServerContext* /*context*/,
                                       const ipc::MText* request,
                                       ipc::MResult* response) override
    {
        return requestFirmwareUpdate.Take(*request, *response);
    }

    grpc::Status SubscribeFirmwareUpdateStatus(grpc::ServerContext* context,
                                               const ipc::MVoid* /*request*/,
                                               grpc::ServerWriter<ipc::MFwUpdateStatus>* writer) override
    {
        return firmwareUpdateStatus.Serve(*context, *writer);
    }

    CFakeOperation<ipc::MRebootType, ipc::MResult> reboot;
    CFakeOperation<ipc::MText, ipc::MResult> requestFirmwareUpdate;
    CFakeStream<ipc::MFwUpdateStatus> firmwareUpdateStatus;
};

class CFakeDiagnostics : public ipc::Diagnostics::Service
{
public:
    grpc::Status GetSignal(grpc::ServerContext* /*context*/,
                           const ipc::MSignalIdentifier* request,
                           ipc::MDiagnosticsSignal* response) override
    {
        return getSignal.Take(*request, *response);
    }

    grpc::Status GetSnapshot(grpc::ServerContext* /*context*/,
                             const ipc::MVoid* request,
                             ipc::MDiagnosticsSnapshot* response) override
    {
        return getSnapshot.Take(*request, *response);
    }

    grpc::Status CreateFreezeFrame(grpc::ServerContext* /*context*/,
                                   const ipc::MText* request,
                                   ipc::MResult* response) override
    {
        return createFreezeFrame.Take(*request, *response);
    }

    grpc::Status SendSignal(grpc::ServerContext* /*context*/,
                            const ipc::MSignalReport* request,
                            ipc::MResult* response) override
    {
        return sendSignal.Take(*request, *response);
    }

    grpc::Status SubscribeSignalChange(grpc::ServerContext* context,
                                       const ipc::MVoid* /*request*/,
                                       grpc::ServerWriter<ipc::MSignalChange>* writer) override
    {
        return signalChange.Serve(*context, *writer);
    }

    grpc::Status SubscribeFreezeFrameDone(grpc::ServerContext* context,
                                          const ipc::MVoid* /*request*/,
                                          grpc::ServerWriter<ipc::MText>* writer) override
    {
        return freezeFrameDone.Serve(*context, *writer);
    }

    CFakeOperation<ipc::MSignalIdentifier, ipc::MDiagnosticsSignal> getSignal;
    CFakeOperation<ipc::MVoid, ipc::MDiagnosticsSnapshot> getSnapshot;
    CFakeOperation<ipc::MText, ipc::MResult> createFreezeFrame;
    CFakeOperation<ipc::MSignalReport, ipc::MResult> sendSignal;
    CFakeStream<ipc::MSignalChange> signalChange;
    CFakeStream<ipc::MText> freezeFrameDone;
};

class CFakeFeedback : public ipc::Feedback::Service
{
public:
    grpc::Status SendEvent(grpc::ServerContext* /*context*/,
                           const ipc::MFbEventType* request,
                           ipc::MResult* response) override
    {
        return sendEvent.Take(*request, *response);
    }

    CFakeOperation<ipc::MFbEventType, ipc::MResult> sendEvent;
};

class CFakeNetM : public ipc::NetM::Service
{
public:
    grpc::Status ScanWlan(grpc::ServerContext* /*context*/,
                          const ipc::MVoid* request,
                          ipc::MScanWlanResult* response) override
    {
        return scanWlan.Take(*request, *response);
    }

    grpc::Status
    ValidateConfig(grpc::ServerContext* /*context*/, const ipc::MVoid* request, ipc::MBool* response) override
    {
        return validateConfig.Take(*request, *response);
    }

    grpc::Status SubscribeNetworkStatus(grpc::ServerContext* context,
                                        const ipc::MVoid* /*request*/,
                                        grpc::ServerWriter<ipc::MNetStatus>* writer) override
    {
        return networkStatus.Serve(*context, *writer);
    }

    CFakeOperation<ipc::MVoid, ipc::MScanWlanResult> scanWlan;
    CFakeOperation<ipc::MVoid, ipc::MBool> validateConfig;
    CFakeStream<ipc::MNetStatus> networkStatus;
};

class CFakeRfid : public ipc::Rfid::Service
{
public:
    grpc::Status SetTokenReport(grpc::ServerContext* /*context*/,
                                const ipc::MBool* request,
                                ipc::MResult* response) override
    {
        return setTokenReport.Take(*request, *response);
    }

    grpc::Status SubscribeTokenFound(grpc::ServerContext* context,
                                     const ipc::MVoid* /*request*/,
                                     grpc::ServerWriter<ipc::MText>* writer) override
    {
        return tokenFound.Serve(*context, *writer);
    }

    CFakeOperation<ipc::MBool, ipc::MResult> setTokenReport;
    CFakeStream<ipc::MText> tokenFound;
};

class CFakeCurrentControl : public ipc::CurrentControl::Service
{
public:
    grpc::Status SetLimit(grpc::ServerContext* /*context*/,
                          const ipc::MCurrentControlLimit* request,
                          ipc::MResult* response) override
    {
        return setLimit.Take(*request, *response);
    }

    grpc::Status ClearLimit(grpc::ServerContext* /*context*/,
                            const ipc::MCurrentControlLimit* request,
                            ipc::MResult* response) override
    {
        return clearLimit.Take(*request, *response);
    }

    CFakeOperation<ipc::MCurrentControlLimit, ipc::MResult> setLimit;
    CFakeOperation<ipc::MCurrentControlLimit, ipc::MResult> clearLimit;
};

class CFakeSessionManager : public ipc::SessionManager::Service
{
public:
    grpc::Status GetConnectorInfo(grpc::ServerContext* /*context*/,
                                  const ipc::MVoid* request,
                                  ipc::MConnectorInfo* response) override
    {
        return getConnectorInfo.Take(*request, *response);
    }

    grpc::Status SubscribeConnectorState(grpc::ServerContext* context,
                                         const ipc::MVoid* /*request*/,
                                         grpc::ServerWriter<ipc::MConnectorState>* writer) override
    {
        return connectorState.Serve(*context, *writer);
    }

    CFakeOperation<ipc::MVoid, ipc::MConnectorInfo> getConnectorInfo;
    CFakeStream<ipc::MConnectorState> connectorState;
};

class CFakeMeter : public ipc::MeterService::Service
{
public:
    grpc::Status GetMeterData(grpc::ServerContext* /*context*/,
                              const ipc::MVoid* request,
                              ipc::MMeterData* response) override
    {
        return getMeterData.Take(*request, *response);
    }

    CFakeOperation<ipc::MVoid, ipc::MMeterData> getMeterData;
};
