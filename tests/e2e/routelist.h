/// All that the process offers: for tests that go through all of it.
#pragma once

#include <vector>

/// Of the station, and so of the process for its life
enum class EMode
{
    Both,
    Dashboard,
    Commissioning
};

/// A route, the mode in which it is there, and whether it needs a session where there is a login.
struct SRoute
{
    const char* method;
    const char* path;
    EMode mode;
    bool gated;

    /// Status of a request without a body and with a session, in dashboard mode and in commissioning mode
    int dashboardStatus;
    int commissioningStatus;
};

constexpr int NoPath = 404;
constexpr int NoMethod = 405;

/// What is below it are its tokens.
constexpr const char* TokenList = "/config/auth/standalonelist";

/// Takes five seconds, and so is asked no more than once in each mode.
constexpr const char* HomeWizardScan = "/network/scanhomewizard";

/// The routes of the process, written anew. "none" stands for any token.
inline const std::vector<SRoute> Routes{
    {"GET", "/auth/status", EMode::Both, false, 200, 200},
    {"POST", "/system/reboot", EMode::Both, true, 400, 400},
    {"GET", "/system/info", EMode::Both, true, 200, 200},
    {"GET", "/system/health", EMode::Both, false, 204, 204},
    {"PUT", "/system/identify", EMode::Both, true, 204, 204},
    {"GET", "/system/diagnostics/freezeframes", EMode::Both, true, 200, 200},
    {"GET", "/system/diagnostics/snapshot", EMode::Both, true, 200, 200},
    {"GET", "/system/web-interface-mode", EMode::Both, false, 200, 200},
    {"GET", "/system/software/automatic-update/current-versions", EMode::Both, true, 200, 200},
    {"GET", "/system/software/automatic-update/available-versions", EMode::Both, true, 200, 200},
    {"POST", "/system/software/automatic-update/update", EMode::Both, true, 400, 400},
    {"GET", "/config/user", EMode::Both, true, 200, 200},
    {"PATCH", "/config/user", EMode::Both, true, 400, 400},
    {"GET", "/config/network", EMode::Both, true, 200, 200},
    {"PATCH", "/config/network", EMode::Both, true, 400, 400},
    {"GET", TokenList, EMode::Both, true, 200, 200},
    {"POST", TokenList, EMode::Both, true, 400, 400},
    {"GET", "/config/auth/standalonelist/none", EMode::Both, true, 404, 404},
    {"DELETE", "/config/auth/standalonelist/none", EMode::Both, true, 404, 404},
    {"PATCH", "/config/auth/standalonelist/none", EMode::Both, true, 400, 400},
    {"PUT", "/config/secrets/webifmanagement/puk", EMode::Both, false, 400, 400},
    {"GET", "/config/scheduledcharging/schedules", EMode::Both, true, 200, 200},
    {"POST", "/config/scheduledcharging/schedules", EMode::Both, true, 400, 400},
    {"GET", "/config/ocpp-backoffice", EMode::Both, true, 200, 200},
    {"GET", "/network/scanwlan", EMode::Both, true, 200, 200},
    {"POST", "/network/connectwlan", EMode::Both, true, 400, 400},
    {"GET", HomeWizardScan, EMode::Both, true, 200, 200},
    {"POST", "/network/verifymodbustcpconn", EMode::Both, true, 400, 400},
    {"POST", "/auth/login", EMode::Dashboard, false, 400, NoPath},
    {"POST", "/auth/logout", EMode::Dashboard, false, 204, NoPath},
    {"POST", "/auth/verify-password", EMode::Dashboard, false, 400, NoPath},
    {"PUT", "/config/secrets/webifmanagement", EMode::Dashboard, true, 400, NoPath},
    {"POST", "/system/factory-reset", EMode::Dashboard, true, 204, NoPath},
    {"POST", "/system/recommission", EMode::Dashboard, true, 204, NoPath},
    {"GET", "/statistics/session", EMode::Dashboard, true, 200, NoPath},
    {"GET", "/statistics/history", EMode::Dashboard, true, 200, NoPath},
    {"POST", "/charging/current-slider", EMode::Dashboard, true, 204, NoPath},
    {"POST", "/system/finishcommissioning", EMode::Commissioning, false, NoPath, 204},
    {"PUT", "/config/ocpp-backoffice", EMode::Commissioning, true, NoMethod, 400},
};

/// A topic of the event server, and the mode in which it is there.
struct STopic
{
    const char* name;
    EMode mode;
};

/// The topics of the process, written anew.
inline const std::vector<STopic> Topics{
    {"/rfid/tokenfound", EMode::Both},
    {"/network/status", EMode::Both},
    {"/system/diagnostics/statuschanged", EMode::Dashboard},
    {"/session/status", EMode::Dashboard},
    {"/system/fwupdate/status", EMode::Dashboard},
};
