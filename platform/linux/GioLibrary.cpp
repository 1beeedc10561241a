#include "GioLibrary.h"

#include <optional>
#include <type_traits>

#include <dlfcn.h>

namespace platform {

namespace {

/// The library's stable interface: it has had this name since 2002.
constexpr const char* FileName = "libgio-2.0.so.0";

std::optional<GioLibrary> loaded()
{
    // Never closed: it has threads.
    void* file = dlopen(FileName, RTLD_LAZY | RTLD_LOCAL);
    if (!file)
        return std::nullopt;
    GioLibrary library;
    bool complete = true;
    const auto find = [&](auto& function, const char* name) {
        function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(dlsym(file, name));
        complete = complete && function;
    };
#define QUILLON_GIO_FIND(name) find(library.name, "g_" #name);
    QUILLON_GIO_FUNCTIONS(QUILLON_GIO_FIND)
#undef QUILLON_GIO_FIND
    return complete ? std::optional(library) : std::nullopt;
}

} // namespace

const GioLibrary* GioLibrary::load()
{
    static const std::optional<GioLibrary> library = loaded();
    return library ? &*library : nullptr;
}

} // namespace platform
