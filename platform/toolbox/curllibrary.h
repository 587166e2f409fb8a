#pragma once

#include <curl/curl.h>

namespace Toolbox
{

/// The functions of libcurl that we call. The library is not linked but loaded at its first use: with some
/// thirty others that it needs, it would cost memory in every process that hardly ever transfers anything.
struct SCurlLibrary
{
    decltype(&curl_global_init) globalInit;
    decltype(&curl_easy_init) easyInit;
    decltype(&curl_easy_setopt) easySetopt;
    decltype(&curl_easy_getinfo) easyGetinfo;
    decltype(&curl_easy_strerror) easyStrerror;
    decltype(&curl_easy_cleanup) easyCleanup;
    decltype(&curl_multi_init) multiInit;
    decltype(&curl_multi_add_handle) multiAddHandle;
    decltype(&curl_multi_remove_handle) multiRemoveHandle;
    decltype(&curl_multi_perform) multiPerform;
    decltype(&curl_multi_poll) multiPoll;
    decltype(&curl_multi_wakeup) multiWakeup;
    decltype(&curl_multi_info_read) multiInfoRead;
    decltype(&curl_multi_strerror) multiStrerror;
    decltype(&curl_multi_cleanup) multiCleanup;
    decltype(&curl_slist_append) slistAppend;
    decltype(&curl_slist_free_all) slistFreeAll;
};

/// Loads the library and makes it ready, the first time, and keeps it until the process ends.
///
/// Threads: any.
/// @throws std::runtime_error with the reason if that fails; the next call tries again
const SCurlLibrary& LoadCurlLibrary();

} // namespace Toolbox
