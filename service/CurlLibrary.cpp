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
constexpr const char* FileName = "libcurl.so.4";

// The library makes several copies of the password on its way to the service, and frees them uncleared.
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
    // Never closed: the library's threads may still run when the program ends.
    void* file = dlopen(FileName, RTLD_LAZY | RTLD_LOCAL);
    if (!file)
        return std::nullopt;
    CurlLibrary library;
    bool complete = true;
    const auto find = [&](auto& function, const char* name) {
        function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(dlsym(file, name));
        complete = complete && function;
    };
#define QUILLON_CURL_FIND(name) find(library.name, "curl_" #name);
    QUILLON_CURL_FUNCTIONS(QUILLON_CURL_FIND)
#undef QUILLON_CURL_FIND
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
