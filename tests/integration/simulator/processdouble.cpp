#include "tests/integration/simulator/processdouble.h"

class CProcessDouble::CControl : public IGenericControl
{
public:
    ipc::MResult Enable() override
    {
        requests.Add("Enable");
        if (TakeOne(refusals))
        {
            return Answer(ipc::EResultIllegal);
        }
        if (TakeOne(failures))
        {
            Report(ipc::EStateError);
            Report(ipc::EStateDisabled);
        }
        else
        {
            Report(ipc::EStateEnabled);
        }
        return Answer(ipc::EResultOk);
    }

    ipc::MResult Disable() override
    {
        requests.Add("Disable");
        if (TakeOne(refusals))
        {
            return Answer(ipc::EResultIllegal);
        }
        Report(ipc::EStateDisabled);
        return Answer(ipc::EResultOk);
    }

    void Report(int state) const
    {
        ipc::MState message;
        message.set_state(static_cast<ipc::EState>(state));
        StateOutput(message);
    }

    CCollector<std::string> requests;
    std::atomic<int> failures{0};
    std::atomic<int> refusals{0};

private:
    static bool TakeOne(std::atomic<int>& counter)
    {
        if (counter == 0)
        {
            return false;
        }
        --counter;
        return true;
    }

    static ipc::MResult Answer(ipc::EResult status)
    {
        ipc::MResult result;
        result.set_status(status);
        return result;
    }
};

CProcessDouble::CProcessDouble(const std::string& root)
    : control(std::make_shared<CControl>())
    , host(root + "etc/iipc.json")
{
    host.AddService<IGenericControl>("WebbackendGenCtrl", control);
    host.StartServices();
    server = std::thread([this] { host.RunServer(); });
    control->Report(ipc::EStateUninitialized);
}

CProcessDouble::~CProcessDouble()
{
    host.Stop();
    server.join();
}

void CProcessDouble::FailEnables(int count)
{
    control->failures = count;
}

void CProcessDouble::RefuseRequests(int count)
{
    control->refusals = count;
}

void CProcessDouble::Report(int state) const
{
    control->Report(state);
}

void CProcessDouble::SendAlive() const
{
    control->AliveOutput();
}

CCollector<std::string>& CProcessDouble::Requests()
{
    return control->requests;
}
