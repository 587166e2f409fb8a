#pragma once

#include <cstdint>
#include <future>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/e2e/interface/row.h"
#include "tests/e2e/stationtest.h"
#include "tests/support/websocketclient.h"

/// Runs sections of the interface's tables, each in a station and a process of its own.
class InterfaceTest : public StationTest
{
protected:
    void Run(const Interface::SSection& section);

private:
    void Start(const Interface::SSection& section);
    void AddFile(const std::string& name, const std::string& contents) const;
    void Run(const Interface::SRow& row);

    void Ask(const Interface::SRow& row);
    void AskAs(unsigned who, const Interface::SRow& row);
    void AskMeanwhile(unsigned who, const Interface::SRow& row);
    void Begin(unsigned who, const Interface::SRow& row);
    void End(const Interface::SRow& row);
    void AwaitMeanwhile();

    /// What is answered and what was to be, as text.
    std::pair<std::string, std::string> Exchange(unsigned who, const Interface::SRow& row);
    std::pair<std::string, std::string> Compare(const Interface::SRow& row, const SHttpResponse& response);
    HttpHeaders Headers(unsigned who, const Interface::SRow& row) const;
    void Steer(const Interface::SRow& row) const;
    void Listen(const Interface::SRow& row);
    void ExpectStored(const Interface::SRow& row) const;
    void ExpectContents(const Interface::SRow& row) const;
    void ExpectGone(const Interface::SRow& row) const;

    std::string Session(unsigned who) const;
    CWebSocketClient& Connection(unsigned who);
    CWebSocketClient& ConnectWith(std::string cookie);
    static std::vector<std::string> Receive(CWebSocketClient& client, const Interface::SAnswer& expected);

    /// All calls that rows tell of with a number above @p before, once there are as many as are expected.
    std::vector<std::string> Calls(std::uint64_t before, std::size_t expected) const;
    void ExpectCalls(std::uint64_t before, const std::vector<std::string>& expected) const;

    struct SUnderWay
    {
        std::string description;
        const Interface::SRow* row;
        std::future<SHttpResponse> response;
    };

    std::string latestKey;
    std::string earlierKey;
    std::map<unsigned, std::unique_ptr<CWebSocketClient>> connections;
    std::vector<SUnderWay> underWay;
    std::unique_ptr<CRawHttp> begun;
};
