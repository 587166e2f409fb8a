#pragma once

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/childprocess.h"
#include "tests/support/rawhttp.h"
#include "tests/support/stationroot.h"
#include "tests/support/steeringclient.h"

constexpr std::uint16_t RestPort = 8080;
constexpr std::uint16_t WebSocketPort = 8081;
constexpr std::uint16_t FileServerPort = 8082;
constexpr std::uint16_t SteeringPort = 8090;

/// A persistent session that every station of these tests has from the start.
inline const std::string SessionKey = "5e5510" + std::string(58, '0');
inline const HttpHeaders LoggedIn{{"Cookie", "sessionid=" + SessionKey}};
inline const HttpHeaders LoggedInWithJson{{"Cookie", "sessionid=" + SessionKey},
                                          {"Content-Type", "application/json"}};

/// What the process reports to its controller.
enum EReport : int
{
    ReportUninitialized = 1,
    ReportDisabled = 2,
    ReportEnabled = 3,
    ReportError = 4
};

/// The real process in a station of its own: a root directory, a private network, and the simulated station
/// as a program beside it.
class StationTest : public testing::Test
{
protected:
    StationTest();

    /// Has the programs that are started from now on find the root's data as /data and its tmp as /tmp, so
    /// that they leave the host's alone.
    void PutFilesInPlace();

    /// Brings the station up. Without a hand on the controller the process will be enabled by it.
    /// @param options  behind the root
    void StartStation(const std::vector<std::string>& options = {});

    /// The same, but the controller waits for Control.
    void StartStationWithManualController();

    /// @param options  in front of the root
    void StartProcess(const std::vector<std::string>& options = {});

    /// Station and process, up to "Enabled".
    void StartAll();

    /// Has the controller ask the process to "enable" or "disable". @return the result code, -1 for a failed
    /// call
    int Control(const std::string& request) const;

    /// Enables a process a second time. That fails at the event server, which starts only once, and leaves
    /// the REST server and the upload server running.
    void StartRestServerAgain() const;

    /// Ends the process by SIGINT and expects status 0 within a second.
    void ExpectCleanEnd();

    /// States that the process has reported so far.
    std::vector<int> ReportedStates() const;

    /// Waits until the process has reported @p count states. @return all of them
    std::vector<int> AwaitStates(std::size_t count) const;

    CStationRoot root;
    const CSteeringClient station{SteeringPort};

    /// What StartProcess starts
    std::string program = WEBBACKEND_PROCESS;

    /// What stands before a program on its command line
    std::vector<std::string> inStation;
    std::unique_ptr<CChildProcess> simulator;
    std::unique_ptr<CChildProcess> process;
};
