#include "platform/toolbox/curllibrary.h"

#include <dlfcn.h>

#include <stdexcept>
#include <string>

namespace Toolbox
{

namespace
{

constexpr const char* LibraryName = "libcurl.so.4";

std::runtime_error LoadFailure(const std::string& reason)
{
    return std::runtime_error(std::string(LibraryName) + " can't be used: " + reason);
}

std::string LoaderError()
{
    // the text is the calling thread's own
    const char* const text = dlerror(); // NOLINT(concurrency-mt-unsafe)
    return text == nullptr ? "unknown reason" : text;
}

void* OpenLibrary()
{
    void* const library = dlopen(LibraryName, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr)
    {
        throw LoadFailure(LoaderError());
    }
    return library;
}

template <class Function>
void Find(void* library, const char* name, Function& function)
{
    function = reinterpret_cast<Function>(dlsym(library, name)); // as dlsym is meant to be used
    if (function == nullptr)
    {
        throw LoadFailure(LoaderError());
    }
}

SCurlLibrary Load()
{
    // never closed: threads that look names up may outlast their transfer
    void* const library = OpenLibrary();
    SCurlLibrary curl{};
    Find(library, "curl_global_init", curl.globalInit);
    Find(library, "curl_easy_init", curl.easyInit);
    Find(library, "curl_easy_setopt", curl.easySetopt);
    Find(library, "curl_easy_getinfo", curl.easyGetinfo);
    Find(library, "curl_easy_strerror", curl.easyStrerror);
    Find(library, "curl_easy_cleanup", curl.easyCleanup);
    Find(library, "curl_multi_init", curl.multiInit);
    Find(library, "curl_multi_add_handle", curl.multiAddHandle);
    Find(library, "curl_multi_remove_handle", curl.multiRemoveHandle);
    Find(library, "curl_multi_perform", curl.multiPerform);
    Find(library, "curl_multi_poll", curl.multiPoll);
    Find(library, "curl_multi_wakeup", curl.multiWakeup);
    Find(library, "curl_multi_info_read", curl.multiInfoRead);
    Find(library, "curl_multi_strerror", curl.multiStrerror);
    Find(library, "curl_multi_cleanup", curl.multiCleanup);
    Find(library, "curl_slist_append", curl.slistAppend);
    Find(library, "curl_slist_free_all", curl.slistFreeAll);
    const CURLcode result = curl.globalInit(CURL_GLOBAL_DEFAULT);
    if (result != CURLE_OK)
    {
        throw LoadFailure(curl.easyStrerror(result));
    }
    return curl;
}

} // namespace

const SCurlLibrary& LoadCurlLibrary()
{
    // its guard has others wait for the first one, who alone makes the library ready
    static const SCurlLibrary curl = Load();
    return curl;
}

} // namespace Toolbox
