#pragma once

#include "contracts/station.grpc.pb.h"
#include "simulator/stationsim.h"

#include <grpcpp/create_channel.h>
#include <grpcpp/grpcpp.h>

#include <chrono>
#include <memory>
#include <string>

#include "tests/support/stationroot.h"
#include "tests/support/steeringclient.h"

/// A simulated station in a root of its own, with its steering on a free port.
class CRunningSimulator
{
public:
    /// @param recoveryPause before the controller enables a process that reported an error
    explicit CRunningSimulator(std::chrono::milliseconds recoveryPause = std::chrono::milliseconds(1));

    /// A client of one of its services, on a connection of its own.
    template <class Service>
    std::unique_ptr<typename Service::Stub> Connect(const char* name) const
    {
        grpc::ChannelArguments arguments;
        // otherwise a connection that failed before would hand its back-off on
        arguments.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
        return Service::NewStub(
            grpc::CreateCustomChannel(root.Address(name), grpc::InsecureChannelCredentials(), arguments));
    }

    const CStationRoot root;
    Simulator::CStationSim simulator;
    const CSteeringClient steering;
};

/// A context of a call that may take a while, but not forever.
struct SPatientContext : grpc::ClientContext
{
    SPatientContext();
};

/// A context of a call that is expected to be left unanswered.
struct SImpatientContext : grpc::ClientContext
{
    SImpatientContext();
};
