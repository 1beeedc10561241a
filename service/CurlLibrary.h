#pragma once

#include <curl/curl.h>

namespace service {

/// The functions of libcurl that are used, without their prefix.
// clang-format off
#define QUILLON_CURL_FUNCTIONS(each)                                                                                   \
    each(easy_cleanup) each(easy_getinfo) each(easy_init) each(easy_nextheader) each(easy_reset) each(easy_setopt)     \
    each(easy_strerror) each(free) each(global_init_mem) each(multi_add_handle) each(multi_cleanup)                    \
    each(multi_info_read) each(multi_init) each(multi_perform) each(multi_poll) each(multi_remove_handle)              \
    each(multi_wakeup) each(slist_append) each(slist_free_all) each(url) each(url_cleanup) each(url_get) each(url_set)
// clang-format on

/// Loaded on first use rather than with the program: the library brings along some thirty others, which together take
/// longer than everything the program itself does before its first window.
struct CurlLibrary
{
    /// Loads and initialises the library if necessary. Null: it is not installed. Any thread.
    static const CurlLibrary* load();
    /// For callers that know it has been loaded.
    static const CurlLibrary& get();

// NOLINTNEXTLINE(bugprone-macro-parentheses): a name that is declared stands alone
#define QUILLON_CURL_MEMBER(name) decltype(&curl_##name) name = nullptr;
    QUILLON_CURL_FUNCTIONS(QUILLON_CURL_MEMBER)
#undef QUILLON_CURL_MEMBER
};

} // namespace service
