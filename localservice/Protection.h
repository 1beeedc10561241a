#pragma once

#include "Http.h"

#include <string_view>

namespace localservice {

/// The headers that every answer carries, unless it brings another value of its own: browsers run no scripts, load
/// nothing from elsewhere, keep nothing, guess no types, and show it in no frame of others (Content Security Policy 3,
/// Fetch, HTML). `host` is the name asked for.
Headers protectionHeaders(bool secure, std::string_view host);

} // namespace localservice
