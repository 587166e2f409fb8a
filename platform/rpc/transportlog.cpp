#include "platform/rpc/transportlog.h"

#include <grpc/support/log.h>

namespace Rpc
{

namespace
{

class CDroppedLog : public ILogger
{
public:
    void Critical(const std::string& /*text*/) override {}
    void Error(const std::string& /*text*/) override {}
    void Warning(const std::string& /*text*/) override {}
    void Info(const std::string& /*text*/) override {}
    void Debug(const std::string& /*text*/) override {}
    void Trace(const std::string& /*text*/) override {}
};

std::shared_ptr<ILogger>& Slot()
{
    static std::shared_ptr<ILogger> logger = std::make_shared<CDroppedLog>();
    return logger;
}

void TakeLibraryLine(gpr_log_func_args* line)
{
    switch (line->severity)
    {
    case GPR_LOG_SEVERITY_ERROR:
        TransportLog().Error(line->message);
        break;
    case GPR_LOG_SEVERITY_INFO:
        TransportLog().Info(line->message);
        break;
    case GPR_LOG_SEVERITY_DEBUG:
        TransportLog().Debug(line->message);
        break;
    }
}

} // namespace

void SetTransportLog(std::shared_ptr<ILogger> logger)
{
    Slot() = std::move(logger);
    gpr_set_log_function(&TakeLibraryLine);
}

ILogger& TransportLog()
{
    return *Slot();
}

} // namespace Rpc
