#include "src/terminatehandler.h"

#include "platform/log/log.h"

#include <cstdlib>
#include <exception>
#include <memory>
#include <string>
#include <typeinfo>

namespace
{

std::string ReadableTypeName(const std::exception& exception)
{
    // The implementation puts an asterisk before the names of types that are compared by address
    const char* name = typeid(exception).name();
    const std::unique_ptr<char, decltype(&std::free)> readable(Log::Demangle(*name == '*' ? name + 1 : name),
                                                               &std::free);
    return readable ? readable.get() : "";
}

void LogPresentException()
{
    try
    {
        std::rethrow_exception(std::current_exception());
    }
    catch (const std::exception& exception)
    {
        LOG_PLAIN(Log::ELogLevel::Critical,
                  "Uncaught exception of type '{}' with message: '{}'",
                  ReadableTypeName(exception),
                  exception.what());
    }
    catch (...)
    {
        LOG_PLAIN(Log::ELogLevel::Critical, "Uncaught exception of unknown type.");
    }
}

} // namespace

void HandleTerminate()
{
    if (std::current_exception())
    {
        LogPresentException();
    }
    LOG_PLAIN(Log::ELogLevel::Critical, "Aborting process.");
    std::abort();
}
