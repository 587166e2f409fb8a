#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

#include "tests/e2e/stationtest.h"
#include "tests/support/formdata.h"

/// A station to which packages are uploaded. Its /tmp, with the package, is the root's own.
class UploadTest : public StationTest
{
protected:
    /// Outcomes as Outcome and Upload give them.
    inline static const std::string Created = "201 Created";
    inline static const std::string Unauthorized = "401 Unauthorized";
    inline static const std::string InUse =
        R"(503 "The firmware package is currently in use by someone else")";
    inline static const std::string NotWritten = R"(500 "Could not write to file")";
    inline static const std::string NotInstalled = "500 Internal communication failure";

    UploadTest();

    /// Up to where the server of the uploads answers and the board's status is heard. The board accepts every
    /// update and makes none.
    void Start();

    /// From now on the board makes updates, and refuses one while another is under way.
    void PlayUpdates() const;

    /// Waits until the server of the uploads answers and the board's status is heard.
    void AwaitServer() const;

    std::filesystem::path PackageFile() const { return root.Path() / "tmp/update/package.swu"; }

    /// A new session, which the process keeps in memory only. @return its key
    static std::string LogIn();

    /// What the package file holds.
    std::string Package() const;

    /// Status and body of an answer, which has to be of the type of all answers to uploads.
    static std::string Outcome(const SHttpResponse& response);

    /// The outcome of an upload in the session that every station has.
    static std::string Upload(const std::string& package);

    /// After a failed upload: there is no file, and the next upload is taken.
    void ExpectNothingLeft() const;

    /// An upload as it goes over the wire.
    static std::string UploadText(const std::string& package, const std::string& key = SessionKey);

    /// Sends the first half of an upload and waits until nearly all of its package is in the file.
    void SendFirstHalf(CRawHttp& client, std::string_view upload) const;

    /// Calls of the board with a request for an update, after a call.
    Json::Value Requests(std::uint64_t after = 0) const;

    /// The board's next call is answered as the fault says. From then on it makes updates.
    void SetBoardFault(const std::string& fault) const;

    /// A number that Linux tells of the process, such as "VmRSS:" in KiB.
    long StatusNumber(const std::string& name) const;

    /// Number of entries of a directory in /proc of the process, "fd" or "task".
    std::size_t Count(const std::string& directory) const;

    /// Waits until the server has seen what has become of all connections so far, and so the process has no
    /// more descriptors than before them.
    void AwaitIdle(std::size_t descriptors) const;
};
