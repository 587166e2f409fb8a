#include "contracts/logconfigservice.h"

#include "contracts/station.grpc.pb.h"
#include "platform/rpc/offeredservice.h"

namespace
{

using Contract = ipc::WebbackendLog;

class CLogConfigService : public Rpc::IOfferedService
{
public:
    explicit CLogConfigService(std::shared_ptr<ILogConfig> logConfig)
        : logConfig(std::move(logConfig))
        , setLogLevel(
              "WebbackendLog.SetLogLevel",
              [this](auto* context, auto* request, auto* writer, Rpc::SServerSide side, void* tag)
              { service.RequestSetLogLevel(context, request, writer, &side.queue, &side.queue, tag); },
              [this](const ipc::MLogLevel& level) { return SetLogLevel(level); })
        , getLogLevel(
              "WebbackendLog.GetLogLevel",
              [this](auto* context, auto* request, auto* writer, Rpc::SServerSide side, void* tag)
              { service.RequestGetLogLevel(context, request, writer, &side.queue, &side.queue, tag); },
              [this](const ipc::MVoid&) { return GetLogLevel(); })
    {
    }

    std::string Name() const override { return "WebbackendLog"; }
    grpc::Service& Service() override { return service; }

    void Begin(Rpc::SServerSide side) override
    {
        setLogLevel.Begin(side);
        getLogLevel.Begin(side);
    }

    void End() override
    {
        setLogLevel.End();
        getLogLevel.End();
    }

private:
    ipc::MResult SetLogLevel(const ipc::MLogLevel& level)
    {
        ipc::MResult result;
        result.set_status(logConfig->SetLogLevel(level.level()) ? ipc::EResultOk : ipc::EResultIllegal);
        return result;
    }

    ipc::MLogLevel GetLogLevel() const
    {
        ipc::MLogLevel level;
        level.set_level(logConfig->GetLogLevel());
        return level;
    }

    const std::shared_ptr<ILogConfig> logConfig;
    Contract::AsyncService service;
    Rpc::CUnaryOperation<ipc::MLogLevel, ipc::MResult> setLogLevel;
    Rpc::CUnaryOperation<ipc::MVoid, ipc::MLogLevel> getLogLevel;
};

} // namespace

template <>
std::unique_ptr<Rpc::IOfferedService>
Rpc::MakeOfferedService<ILogConfig>(const std::shared_ptr<ILogConfig>& object)
{
    return std::make_unique<CLogConfigService>(object);
}
