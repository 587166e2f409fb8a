#pragma once

#include "src/utils/firmwareupdatehandler.h"
#include "src/websocket/itopic.h"

#include <memory>
#include <string>

#include <gmock/gmock.h>

class CMockFirmwareUpdateHandler : public IFirmwareUpdateHandler
{
public:
    MOCK_METHOD(void, Download, (const std::string& url), (override));
    MOCK_METHOD(void, SetStatusTopic, (std::shared_ptr<ITopic> topic), (override));
};
