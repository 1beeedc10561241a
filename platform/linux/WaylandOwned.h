#pragma once

#include <memory>

namespace platform {

template <auto function>
struct EndBy
{
    void operator()(auto* thing) const { function(thing); }
};

/// An object of the Wayland client library, and the function that ends it.
template <class T, auto function>
using WaylandOwned = std::unique_ptr<T, EndBy<function>>;

} // namespace platform
