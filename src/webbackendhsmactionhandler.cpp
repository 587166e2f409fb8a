#include "src/webbackendhsmactionhandler.h"

#include "src/webbackend.h"
#include "statemachines/webbackendhsmevents.h"

#include "platform/log/log.h"

#include <utility>

using WebbackendHsm::IntFatalError;

CWebbackendHsmActionHandler::CWebbackendHsmActionHandler(std::weak_ptr<CWebbackend> webbackend)
    : CWorker("alive")
    , webbackend(std::move(webbackend))
{
    LOG_ENTRY(CWebbackendHsmActionHandler, "CWebbackendHsmActionHandler");
    CWorker::Start();
}

void CWebbackendHsmActionHandler::IntStartServers()
{
    LOG_ENTRY(CWebbackendHsmActionHandler, "IntStartServers");
    if (const auto living = webbackend.lock())
    {
        living->StartServers();
        return;
    }
    LOG_CRITICAL("Could not start servers. Webbackend object does not exist.");
    Post<IntFatalError>();
}

void CWebbackendHsmActionHandler::IntStopServers()
{
    LOG_ENTRY(CWebbackendHsmActionHandler, "IntStopServers");
    if (const auto living = webbackend.lock())
    {
        living->StopServers();
        return;
    }
    LOG_CRITICAL("Could not stop servers. Webbackend object does not exist.");
    Post<IntFatalError>();
}

void CWebbackendHsmActionHandler::IntStartComponents()
{
    LOG_ENTRY(CWebbackendHsmActionHandler, "IntStartComponents");
    if (const auto living = webbackend.lock())
    {
        living->StartComponents();
        return;
    }
    LOG_CRITICAL("Could not start components. Webbackend object does not exist.");
    Post<IntFatalError>();
}

void CWebbackendHsmActionHandler::IntStopComponents()
{
    LOG_ENTRY(CWebbackendHsmActionHandler, "IntStopComponents");
    if (const auto living = webbackend.lock())
    {
        living->StopComponents();
        return;
    }
    LOG_CRITICAL("Could not stop components. Webbackend object does not exist.");
    Post<IntFatalError>();
}
