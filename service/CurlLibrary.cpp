#include "CurlLibrary.h"

#include <QtGlobal>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <type_traits>

#include <dlfcn.h>
#include <malloc.h>

namespace service {

namespace {

/// The library's stable interface: it has had this name since 2006.
constexpr const char* fileName = "libcurl.so.4";

// The library makes several copies of the password on its way to the service, and gives them back as they are.
void wipeAndFree(void* memory)
{
    if (memory)
        explicit_bzero(memory, malloc_usable_size(memory));
    std::free(memory);
}

void* wipeAndResize(void* memory, std::size_t size)
{
    void* larger = std::malloc(size);
    if (larger && memory)
        std::memcpy(larger, memory, std::min(size, malloc_usable_size(memory)));
    if (larger)
        wipeAndFree(memory);
    return larger;
}

std::optional<CurlLibrary> loaded()
{
    // Never closed: threads of its own may be left when the program ends.
    void* file = dlopen(fileName, RTLD_LAZY | RTLD_LOCAL);
    if (!file)
        return std::nullopt;
    CurlLibrary library;
    bool complete = true;
    const auto find = [&](auto& function, const char* name) {
        function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(dlsym(file, name));
        complete = complete && function;
    };
    find(library.easy_cleanup, "curl_easy_cleanup");
    find(library.easy_getinfo, "curl_easy_getinfo");
    find(library.easy_init, "curl_easy_init");
    find(library.easy_nextheader, "curl_easy_nextheader");
    find(library.easy_reset, "curl_easy_reset");
    find(library.easy_setopt, "curl_easy_setopt");
    find(library.easy_strerror, "curl_easy_strerror");
    find(library.free, "curl_free");
    find(library.global_init_mem, "curl_global_init_mem");
    find(library.multi_add_handle, "curl_multi_add_handle");
    find(library.multi_cleanup, "curl_multi_cleanup");
    find(library.multi_info_read, "curl_multi_info_read");
    find(library.multi_init, "curl_multi_init");
    find(library.multi_perform, "curl_multi_perform");
    find(library.multi_poll, "curl_multi_poll");
    find(library.multi_remove_handle, "curl_multi_remove_handle");
    find(library.multi_wakeup, "curl_multi_wakeup");
    find(library.slist_append, "curl_slist_append");
    find(library.slist_free_all, "curl_slist_free_all");
    find(library.url, "curl_url");
    find(library.url_cleanup, "curl_url_cleanup");
    find(library.url_get, "curl_url_get");
    find(library.url_set, "curl_url_set");
    if (!complete ||
        library.global_init_mem(CURL_GLOBAL_DEFAULT, malloc, wipeAndFree, wipeAndResize, strdup, calloc) != CURLE_OK)
        return std::nullopt;
    return library;
}

} // namespace

const CurlLibrary* CurlLibrary::load()
{
    static const std::optional<CurlLibrary> library = loaded();
    return library ? &*library : nullptr;
}

const CurlLibrary& CurlLibrary::get()
{
    const CurlLibrary* library = load();
    Q_ASSERT(library);
    return *library;
}

} // namespace service
