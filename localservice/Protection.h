#pragma once

#include "Http.h"

#include <string_view>

namespace localservice {

/// Headers for every reply, unless it has a value of its own: browsers run no scripts, load nothing from elsewhere,
/// keep nothing, guess no types, and show it in no other site's frame (Content Security Policy 3, Fetch, HTML). `host`
/// is the requested name.
Headers protectionHeaders(bool secure, std::string_view host);

} // namespace localservice
