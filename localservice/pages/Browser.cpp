#include "Browser.h"

#include <algorithm>

namespace localservice {

namespace {

constexpr std::size_t LongestTarget = 2000;

struct Authority
{
    std::string_view name;
    std::string_view port;
};

Authority authority(const Request& request)
{
    const auto host = request.header("Host");
    const auto colon = host.rfind(':');
    const bool port = colon != std::string_view::npos && host.find(']', colon) == std::string_view::npos;
    return port ? Authority{host.substr(0, colon), host.substr(colon + 1)} : Authority{host, {}};
}

/// Two services on one machine share a browser's cookies whatever their ports, so each uses its own name. The prefix
/// keeps other hosts of the domain, and unencrypted pages, from setting it (RFC 6265bis).
std::string cookieName(const Request& request)
{
    const auto port = authority(request).port;
    return (request.secure ? "__Host-quillon-session" : "quillon-session") + (port.empty() ? std::string() : "-") +
           std::string(port);
}

/// Scheme, host and port as in an origin. A default port appears neither there nor in the Host header.
bool isOrigin(std::string_view origin, const Request& request)
{
    const auto host = request.header("Host");
    const auto is = [&](std::string_view scheme) {
        return origin.starts_with(scheme) && origin.substr(scheme.size()) == host;
    };
    // Without encryption here a proxy in front may still add it.
    return !host.empty() && (is("https://") || (!request.secure && is("http://")));
}

} // namespace

std::string_view sessionCookie(const Request& request)
{
    const std::string name = cookieName(request);
    auto rest = request.header("Cookie");
    while (!rest.empty()) {
        const auto end = std::min(rest.find(';'), rest.size());
        auto pair = rest.substr(0, end);
        pair.remove_prefix(std::min(pair.find_first_not_of(' '), pair.size()));
        const auto sign = pair.find('=');
        if (sign != std::string_view::npos && pair.substr(0, sign) == name)
            return pair.substr(sign + 1);
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return {};
}

Reply withSessionCookie(Reply reply, const Request& request, std::string_view secret)
{
    std::string value = cookieName(request) + "=" + std::string(secret) + "; Path=/; HttpOnly; SameSite=Lax";
    if (request.secure)
        value += "; Secure";
    if (secret.empty())
        value += "; Max-Age=0";
    reply.headers.emplace_back("Set-Cookie", std::move(value));
    return reply;
}

bool isFromHere(const Request& request)
{
    // "null" is a foreign origin, too: of sandboxed pages and redirects from elsewhere.
    const auto origin = request.header("Origin");
    return origin.empty() ? request.header("Sec-Fetch-Site") == "same-origin" : isOrigin(origin, request);
}

bool isGoneTo(const Request& request)
{
    const auto site = request.header("Sec-Fetch-Site");
    const auto mode = request.header("Sec-Fetch-Mode");
    const auto destination = request.header("Sec-Fetch-Dest");
    const bool ahead = !request.header("Sec-Purpose").empty() || !request.header("Purpose").empty() ||
                       !request.header("X-Moz").empty();
    return request.method == "GET" && !ahead && (site.empty() || site == "none" || site == "same-origin") &&
           (mode.empty() || mode == "navigate") && (destination.empty() || destination == "document");
}

bool isOurName(const Request& request)
{
    // A browser accepts the certificate only for our own names.
    if (request.secure)
        return true;
    const auto name = authority(request).name;
    const bool four = !name.empty() &&
                      std::all_of(name.begin(), name.end(), [](char c) { return c == '.' || (c >= '0' && c <= '9'); });
    return four || name.starts_with('[') || name == "localhost" || name.ends_with(".localhost");
}

std::string pathHere(std::string_view target)
{
    // Browsers drop tabs and line breaks from addresses, and treat a backslash as a slash: "/\t/example.com" is another
    // site.
    const bool plain = std::all_of(target.begin(), target.end(), [](char c) {
        return static_cast<unsigned char>(c) > ' ' && c != '\\' && c != '\x7f';
    });
    const bool here = plain && target.size() <= LongestTarget && target.starts_with('/') && !target.starts_with("//") &&
                      !target.starts_with("/sign-in") && !target.starts_with("/sign-out");
    return here ? std::string(target) : "/daily";
}

std::string pathBefore(const Request& request)
{
    const auto address = request.header("Referer");
    const auto slash = address.find('/', std::string_view("https://").size());
    const bool here = slash != std::string_view::npos && isOrigin(address.substr(0, slash), request);
    return pathHere(here ? address.substr(slash) : std::string_view());
}

} // namespace localservice
