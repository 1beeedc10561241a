#pragma once

#include <curl/curl.h>

namespace service {

/// The functions of libcurl that are used, without their prefix.
///
/// The library is loaded by the first use and not with the program: it brings along some thirty others, which together
/// take longer than all that the program does of itself before it shows its face.
struct CurlLibrary
{
    /// Loads and initialises the library when that has not been done. Null: it is not there. Any thread.
    static const CurlLibrary* load();
    /// For those who know that it was loaded.
    static const CurlLibrary& get();

    decltype(&curl_easy_cleanup) easy_cleanup = nullptr;
    decltype(&curl_easy_getinfo) easy_getinfo = nullptr;
    decltype(&curl_easy_init) easy_init = nullptr;
    decltype(&curl_easy_nextheader) easy_nextheader = nullptr;
    decltype(&curl_easy_reset) easy_reset = nullptr;
    decltype(&curl_easy_setopt) easy_setopt = nullptr;
    decltype(&curl_easy_strerror) easy_strerror = nullptr;
    decltype(&curl_free) free = nullptr;
    decltype(&curl_global_init_mem) global_init_mem = nullptr;
    decltype(&curl_multi_add_handle) multi_add_handle = nullptr;
    decltype(&curl_multi_cleanup) multi_cleanup = nullptr;
    decltype(&curl_multi_info_read) multi_info_read = nullptr;
    decltype(&curl_multi_init) multi_init = nullptr;
    decltype(&curl_multi_perform) multi_perform = nullptr;
    decltype(&curl_multi_poll) multi_poll = nullptr;
    decltype(&curl_multi_remove_handle) multi_remove_handle = nullptr;
    decltype(&curl_multi_wakeup) multi_wakeup = nullptr;
    decltype(&curl_slist_append) slist_append = nullptr;
    decltype(&curl_slist_free_all) slist_free_all = nullptr;
    decltype(&curl_url) url = nullptr;
    decltype(&curl_url_cleanup) url_cleanup = nullptr;
    decltype(&curl_url_get) url_get = nullptr;
    decltype(&curl_url_set) url_set = nullptr;
};

} // namespace service
