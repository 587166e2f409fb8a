#include "src/commandline.h"
#include "src/terminatehandler.h"
#include "src/webbackend.h"

#include "platform/log/log.h"
#include "platform/rpc/grpcbackend.h"
#include "platform/rpc/tarnlogger.h"

#include <cstdlib>
#include <exception>
#include <memory>
#include <string>

namespace
{

std::shared_ptr<CWebbackend> MakeWebbackend(const std::string& root)
{
    try
    {
        return std::make_shared<CWebbackend>(root);
    }
    catch (...)
    {
        // being caught takes down what was built, in order, before the terminate handler ends the process
        throw;
    }
}

} // namespace

int main(int argc, char** argv)
{
    Log::Init("Webbackend", Log::ELogLevel::Info);
    std::set_terminate(&HandleTerminate);

    SOptions options;
    if (!ParseCommandLine(argc, argv, options))
    {
        return EXIT_FAILURE;
    }

    GrpcBackend::SetLogger(std::make_shared<Rpc::TarnLogger>());
    MakeWebbackend(options.root)->Run();
    return EXIT_SUCCESS;
}
