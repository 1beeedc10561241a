#include "Fuzz.h"

#include "localservice/Credentials.h"
#include "pages/Browser.h"

// The headers of a browser, one a line: host, cookie, origin, address of the page before.
void takeIn(std::string_view text)
{
    localservice::Request request{"GET", "/daily"};
    for (const char* name : {"Host", "Cookie", "Origin", "Referer", "Authorization"}) {
        const auto line = text.substr(0, text.find('\n'));
        request.headers.emplace_back(name, line);
        text.remove_prefix(std::min(line.size() + 1, text.size()));
    }
    const auto subdomain = request.subdomain();
    MUST(subdomain.find('.') == std::string::npos && subdomain.find(':') == std::string::npos);
    MUST(localservice::sessionCookie(request).find(';') == std::string_view::npos);
    for (const auto& target : {localservice::pathHere(text), localservice::pathBefore(request)}) {
        MUST(target.starts_with('/') && !target.starts_with("//") && target.size() <= 2000);
        MUST(std::none_of(target.begin(), target.end(), [](unsigned char c) { return c <= ' ' || c == '\\'; }));
    }
    localservice::isFromHere(request);
    localservice::isGoneTo(request);
    localservice::BasicCredentials::fromHeader(request.header("Authorization"));

    // The cookie that we give comes back as the session of this very host, and of none at another port.
    const auto given = localservice::withSessionCookie({}, request, "secret").headers.back().second;
    request.headers[1].second = "other=1; " + given.substr(0, given.find("; Path=/"));
    const auto found = localservice::sessionCookie(request);
    MUST(found == "secret" || request.header("Host").find_first_of("=; ") != std::string_view::npos);
    std::string& host = request.headers[0].second;
    host += host.find(':') == std::string::npos ? ":1" : "0";
    MUST(localservice::sessionCookie(request) != "secret" || host.find(']') != std::string::npos);
}
