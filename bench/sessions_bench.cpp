/// The session store: look-ups among many sessions, and what a login costs.
#include "src/session/authorization.h"

#include "contracts/diagnostics.h"
#include "contracts/diagnostics/diagnosticscommclient.h"
#include "platform/config/tarnconfig.h"
#include "platform/toolbox/password.h"

#include <benchmark/benchmark.h>

#include "tests/support/quickpassword.h"
#include "tests/support/temporarydirectory.h"

namespace
{

constexpr std::uint64_t Timeout = 900;
const std::string Password = "correct horse";

/// Takes the signals of logins, as a service that answers at once would.
class CSilentReport : public IDiagnosticsReport
{
public:
    ipc::MResult SendSignal(const ipc::MSignalReport& /*report*/) override { return {}; }
};

/// A store whose password is checked in next to no time.
class CStore
{
public:
    CStore()
    {
        CDiagnosticsCommClient::Initialize(std::make_shared<CSilentReport>());
        directory.Write("etc/config/secrets.json",
                        R"({"WebIfManagementPassword": ")" + EncodedQuickly(Password) + "\"}");
        authorization = std::make_unique<CAuthorization>(TarnConfig::Create("secrets", directory.Root()));
    }

    ~CStore() { CDiagnosticsCommClient::Shutdown(); }
    CStore(const CStore&) = delete;
    CStore& operator=(const CStore&) = delete;
    CStore(CStore&&) = delete;
    CStore& operator=(CStore&&) = delete;

    CAuthorization& operator*() { return *authorization; }
    CAuthorization* operator->() { return authorization.get(); }

private:
    const CTemporaryDirectory directory;
    std::unique_ptr<CAuthorization> authorization;
};

/// One gated request's look-up, with as many sessions as the argument says.
void LookUp(benchmark::State& state)
{
    CStore store;
    std::string key;
    for (std::int64_t session = 0; session < state.range(0); ++session)
    {
        key = *store->CreateSession(Password, Timeout, false);
    }
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(store->RefreshSession(key));
    }
}
BENCHMARK(LookUp)->Arg(10)->Arg(100)->Arg(1000);

/// A login's share for the password as it is kept on a station.
void PasswordCheck(benchmark::State& state)
{
    const auto password = Toolbox::CPassword::FromPlainText(Password);
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(password.Equal(Password));
    }
}
BENCHMARK(PasswordCheck)->Unit(benchmark::kMicrosecond);

/// The check of the password that the two below use.
void QuickPasswordCheck(benchmark::State& state)
{
    const auto password = Toolbox::CPassword::FromEncoded(EncodedQuickly(Password));
    for (auto _ : state)
    {
        benchmark::DoNotOptimize(password->Equal(Password));
    }
}
BENCHMARK(QuickPasswordCheck)->Unit(benchmark::kMicrosecond);

/// A login and its logout but for the station's password check: the argument tells whether it is persistent,
/// and so written to the file twice.
void LoginAndLogout(benchmark::State& state)
{
    CStore store;
    for (auto _ : state)
    {
        store->RemoveSession(*store->CreateSession(Password, Timeout, state.range(0) == 1));
    }
}
BENCHMARK(LoginAndLogout)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

} // namespace
