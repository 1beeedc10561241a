#include "Site.h"

#include "Assets.h"
#include "SignInThrottle.h"
#include "Storage.h"

#include <algorithm>
#include <chrono>

namespace localservice {

namespace {

constexpr std::string_view signInPath = "/sign-in";

/// Two services on one machine share a browser's cookies whatever their ports: each has a name of its own.
std::string cookieName(const Request& request)
{
    const auto host = request.header("Host");
    const auto colon = host.rfind(':');
    const bool port = colon != std::string_view::npos && host.find(']', colon) == std::string_view::npos;
    return "quillon-session" + (port ? "-" + std::string(host.substr(colon + 1)) : std::string());
}

std::string_view cookie(const Request& request, std::string_view name)
{
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

Reply withCookie(Reply reply, const Request& request, std::string_view secret)
{
    std::string value = cookieName(request) + "=" + std::string(secret) + "; Path=/; HttpOnly; SameSite=Lax";
    if (secret.empty())
        value += "; Max-Age=0";
    reply.headers.emplace_back("Set-Cookie", std::move(value));
    return reply;
}

/// Whether the form was sent from a page of this very site, as browsers tell by themselves.
bool isFromHere(const Request& request)
{
    const auto origin = request.header("Origin");
    const auto host = request.header("Host");
    if (origin.empty())
        return request.header("Sec-Fetch-Site") == "same-origin";
    return origin == "http://" + std::string(host) || origin == "https://" + std::string(host);
}

/// A path of this site, and of no other: what a sign-in goes on to.
std::string pathHere(std::string_view target)
{
    // Browsers take "\\" for "/" and drop control characters, after which "//" would lead to another host.
    const bool plain =
        std::all_of(target.begin(), target.end(), [](char c) { return c > ' ' && c < '\x7f' && c != '\\'; });
    const bool here = plain && target.starts_with('/') && !target.starts_with("//") && !target.starts_with(signInPath);
    return here ? std::string(target) : "/daily";
}

Reply signInPage(const std::string& target, const std::string& email, std::string_view problem)
{
    return plainPage({"Sign In", Section::None, problem.empty() ? 200 : 422}, [&](Html& html) {
        if (!problem.empty())
            html.leaf("p", {{"class", "problem"}, {"role", "alert"}}, problem);
        const auto form = html.in("form", {{"method", "post"}, {"action", signInPath}, {"class", "fields"}});
        html.empty("input", {{"type", "hidden"}, {"name", "to"}, {"value", target}});
        html.leaf("label", {{"for", "email"}}, "E-mail");
        html.empty("input", {{"type", "email"},
                             {"id", "email"},
                             {"name", "email"},
                             {"value", email},
                             {"autocomplete", "username"},
                             {"required", true},
                             {"autofocus", email.empty()}});
        html.leaf("label", {{"for", "password"}}, "Password");
        html.empty("input", {{"type", "password"},
                             {"id", "password"},
                             {"name", "password"},
                             {"autocomplete", "current-password"},
                             {"required", true},
                             {"autofocus", !email.empty()}});
        html.leaf("button", {{"class", "main"}}, "Sign In");
    });
}

} // namespace

Site::Site(Storage& storage, Clock clock, SignInThrottle& throttle)
    : m_storage(storage), m_clock(std::move(clock)), m_sessions(storage), m_throttle(throttle)
{
    addDayPages(*this);
    addCatalogPages(*this);
    addPeoplePages(*this);
    addReportPages(*this);
}

bool Site::isAskedBy(const Request& request)
{
    // Programs send their credentials with each request; browsers are never asked for any.
    if (!request.header("Authorization").empty())
        return false;
    return request.header("Accept").find("text/html") != std::string_view::npos ||
           request.path().starts_with("/assets/") ||
           request.header("Content-Type").starts_with("application/x-www-form-urlencoded");
}

void Site::add(std::string_view method, std::string_view path, Handler handler, For whom)
{
    const Request pattern{"GET", std::string(path), {}, {}};
    const auto pieces = pattern.pieces();
    m_routes.push_back({std::string(method), {pieces.begin(), pieces.end()}, std::move(handler), whom});
}

Reply Site::answer(const Request& request)
{
    const Seconds now = std::chrono::floor<std::chrono::seconds>(m_clock()).time_since_epoch().count();
    const auto path = request.pieces();
    if (path.size() == 2 && path[0] == "assets")
        return asset(path[1]);
    const bool isForm = request.method == "POST";
    if (isForm && !isFromHere(request))
        return plainPage({"That Did Not Work", Section::None, 403},
                         [](Html& html) { html.leaf("p", "This form did not come from a page of this service."); });
    if (request.path() == signInPath && isForm)
        return signIn(request, now);

    const auto secret = cookie(request, cookieName(request));
    auto person = m_sessions.find(secret, now);
    if (!person) {
        const std::string target = isForm ? "/daily" : request.target;
        if (request.path() == signInPath)
            return signInPage(pathHere(Form::read(request.query()).text("to")), {}, {});
        return Reply::redirect(std::string(signInPath) + "?to=" + urlEncoded(target), 303);
    }
    Visit visit{request,
                m_storage,
                std::move(*person),
                now,
                std::string(secret),
                Sessions::formToken(secret),
                Form::read(request.query()),
                {}};
    if (isForm) {
        visit.form = Form::read(request.body);
        if (visit.form.text("token") != visit.formToken)
            return problemPage(visit, {403, "Forbidden", "This form is from an earlier session. Open its page again."});
        if (request.path() == "/sign-out") {
            m_sessions.end(secret);
            return withCookie(goTo(std::string(signInPath)), request, {});
        }
    }
    if (path.empty() || request.path() == signInPath)
        return goTo("/daily");
    return answerTo(visit);
}

Reply Site::signIn(const Request& request, Seconds now)
{
    const auto form = Form::read(request.body);
    const std::string target = pathHere(form.text("to"));
    const auto found = m_storage.look([&](SQLite::Database& database) -> tl::expected<std::optional<Person>, Problem> {
        return personByEmail(database, form.trimmed("email"), request.subdomain());
    });
    const std::string email = form.trimmed("email");
    if (const auto wait = m_throttle.tryAgainIn(request.peer, email, form.text("password"))) {
        auto reply = signInPage(target, email, "There were too many attempts. Try again in a few minutes.");
        reply.status = 429;
        reply.headers.emplace_back("Retry-After", std::to_string(wait->count()));
        return reply;
    }
    const auto secret = found && *found && m_passwords.fits(form.text("password"), (*found)->passwordHash)
                            ? m_sessions.begin((*found)->id, now)
                            : std::nullopt;
    if (!secret)
        return signInPage(target, email, "E-mail and password do not fit together.");
    m_throttle.succeeded(request.peer, email);
    return withCookie(goTo(target), request, *secret);
}

Reply Site::asset(std::string_view name) const
{
    const auto found =
        std::find_if(assets().begin(), assets().end(), [&](const auto& asset) { return asset.name == name; });
    if (found == assets().end())
        return {404, {}, {{"Content-Type", "text/plain"}}};
    const char* type = name.ends_with(".css") ? "text/css; charset=utf-8" : "image/svg+xml";
    return {200, found->content, {{"Content-Type", type}, {"Cache-Control", "public, max-age=31536000, immutable"}}};
}

Reply Site::answerTo(const Visit& visit)
{
    const auto path = visit.request.pieces();
    for (const auto& route : m_routes) {
        if (route.method != visit.request.method || route.pieces.size() != path.size())
            continue;
        std::vector<Id> numbers;
        const bool fits =
            std::equal(path.begin(), path.end(), route.pieces.begin(), [&](auto piece, const auto& wanted) {
                if (wanted != "#")
                    return piece == wanted;
                numbers.push_back(idIn(piece));
                return numbers.back() > 0;
            });
        if (!fits)
            continue;
        if (route.whom == For::Administrators && !visit.person.admin)
            return problemPage(visit, {403, "Forbidden", "Only an administrator of this account can do that."});
        return route.handler(visit, numbers);
    }
    return notFoundPage(visit);
}

} // namespace localservice
