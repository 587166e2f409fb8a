#pragma once

#include "src/api/config.h"
#include "src/api/jsonresponse.h"

#include "platform/config/tarnconfig.h"

#include <json/value.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fakerequest.h"
#include "tests/fakes/mockauthorization.h"
#include "tests/fakes/mockscheduledcharging.h"
#include "tests/fakes/mockservices.h"
#include "tests/support/capturedlog.h"
#include "tests/support/configfiles.h"
#include "tests/support/requestfailure.h"

/// The handlers of the configuration over files of their own, with the real applicators and a network manager
/// that accepts everything.
class ConfigApiTest : public testing::Test
{
protected:
    using Response = Resources::CConfigApi::Response;
    using Call = std::function<Response(const CFakeRequest&)>;

    /// A handler that takes a body.
    struct SHandler
    {
        std::string name;
        Call call;
    };

    ConfigApiTest();

    /// Makes the handlers over the files as they are now, as the start of the process does.
    void Start() { Start(authorization); }
    void Start(const std::shared_ptr<IAuthorization>& sessions);

    /// All handlers that read a body.
    std::vector<SHandler> HandlersOfBodies();

    /// Status and compact JSON text of an answer, such as "200 {}", or of the failure; "204" for the empty
    /// one.
    static std::string AnswerOf(const std::function<Response()>& call);

    const CConfigFiles files;
    std::shared_ptr<TarnConfig> rfidConfig;
    std::shared_ptr<TarnConfig> secretsConfig;
    // strict: what a test doesn't expect must not happen
    std::shared_ptr<testing::StrictMock<CMockAuthorization>> authorization =
        std::make_shared<testing::StrictMock<CMockAuthorization>>();
    std::shared_ptr<testing::StrictMock<CMockScheduledCharging>> scheduledCharging;
    const std::shared_ptr<testing::NiceMock<CMockNetM>> netM =
        std::make_shared<testing::NiceMock<CMockNetM>>();
    std::unique_ptr<Resources::CConfigApi> api;
};
