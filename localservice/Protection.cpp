#include "Protection.h"

namespace localservice {

Headers protectionHeaders(bool secure, std::string_view host)
{
    Headers headers{
        {"Content-Security-Policy", "default-src 'none'; style-src 'self'; img-src 'self'; form-action 'self'; "
                                    "frame-ancestors 'none'; base-uri 'none'"},
        {"X-Content-Type-Options", "nosniff"},
        {"X-Frame-Options", "DENY"},
        {"Referrer-Policy", "same-origin"},
        {"Cross-Origin-Opener-Policy", "same-origin"},
        {"Cross-Origin-Resource-Policy", "same-origin"},
        {"Cache-Control", "no-store"},
    };
    // It would apply to all ports of a name, and so to other programs, for which we must not decide.
    const auto name = host.substr(0, host.rfind(':'));
    if (secure && name != "localhost" && !name.ends_with(".localhost"))
        headers.emplace_back("Strict-Transport-Security", "max-age=15552000");
    return headers;
}

} // namespace localservice
