#include "tests/unit/src/session/authorizationtest.h"

#include "contracts/diagnostics/diagnosticscommclient.h"
#include "platform/json/jsonutil.h"

#include <fmt/format.h>

#include <filesystem>
#include <fstream>
#include <iterator>

// sha512crypt at its least cost: these tests are about sessions
const std::string AuthorizationTest::Password = "open sesame";
const std::string AuthorizationTest::EncodedPassword =
    "$6$rounds=1000$webinterface$"
    "A0hir0GZjUKLV6l1n5vNCIuciPftQstJV6kxBOHKVQv7e7XPIX6MfmIm.glkWKqUDT2FWMuBClqEmf8QH6zaw/";
const std::string AuthorizationTest::OtherPassword = "changed";
const std::string AuthorizationTest::EncodedOtherPassword =
    "$6$rounds=1000$othersalt$"
    "CHLkcB7DTZ8QR4asMPxgRlnL0dDfFylufBUIBz4dDHnIOAa3gPa5pNXRAFL/LucTjHhJrL2ANF4mBEYSL8w4u.";

const std::string AuthorizationTest::FirstKey =
    "022c5888860bb60e7431a43315631fe22815b1dbe5217987dc3a4d1a1e204771";
const std::string AuthorizationTest::SecondKey =
    "a6394d79b411692349b539eea9d151be62bbd6213235a399e885f7338959bf05";

AuthorizationTest::AuthorizationTest()
{
    CDiagnosticsCommClient::Initialize(diagnostics);
    directory.Write("etc/config/secrets.json",
                    fmt::format(R"({{"WebIfManagementPassword": "{}"}})", EncodedPassword));
}

AuthorizationTest::~AuthorizationTest()
{
    CDiagnosticsCommClient::Shutdown();
}

void AuthorizationTest::Start()
{
    authorization.reset();
    config = TarnConfig::Create("secrets",
                                directory.Root(),
                                [this](const std::string& key, const Json::Value& value)
                                {
                                    if (key == "WebSessions")
                                    {
                                        saves.push_back(JsonUtil::WriteUnstyled(value));
                                    }
                                    afterSave();
                                });
    authorization = std::make_unique<CAuthorization>(config, clock.Source(), std::mt19937(Seed));
}

void AuthorizationTest::StoreSessions(const std::string& json) const
{
    directory.Write("data/config/secrets.json", R"({"WebSessions":)" + json + "}\n");
}

std::string AuthorizationTest::Element(const std::string& key, std::int64_t expiry)
{
    return fmt::format(R"({{"Expiry":{},"Key":"{}"}})", Noon + expiry, key);
}

std::string AuthorizationTest::Elements(const std::string& prefix, int count, std::int64_t expiry)
{
    std::vector<std::string> elements;
    for (int i = 0; i < count; ++i)
    {
        elements.push_back(Element(fmt::format("{}{:x}", prefix, i), expiry + i));
    }
    return fmt::format("[{}]", fmt::join(elements, ","));
}

std::string AuthorizationTest::File() const
{
    std::ifstream stream(directory.Path() / "data/config/secrets.json", std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::vector<std::string> AuthorizationTest::StoredKeys() const
{
    std::vector<std::string> keys;
    const Json::Value values = JsonUtil::ParseObject(File());
    for (const Json::Value& element : values["WebSessions"])
    {
        keys.push_back(element["Key"].asString());
    }
    return keys;
}

void AuthorizationTest::ChangeElsewhere(const std::string& key, const Json::Value& value) const
{
    TarnConfig::Create("secrets", directory.Root())->SetValue(key, value);
}
