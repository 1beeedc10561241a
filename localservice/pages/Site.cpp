#include "Site.h"

#include "Assets.h"
#include "Browser.h"
#include "Credentials.h"
#include "PasswordSignIn.h"
#include "RemovalPages.h"
#include "SignInPages.h"
#include "Storage.h"
#include "Upload.h"

#include <algorithm>
#include <chrono>
#include <unistd.h>

namespace localservice {

namespace {

Reply plainProblem(int status, const std::string& title, std::string_view text)
{
    return plainPage({title, Section::None, status}, [&](Html& html) { html.leaf("p", text); });
}

Reply wrongMethod(Reply reply, const std::string& allowed)
{
    reply.status = 405;
    reply.headers.emplace_back("Allow", allowed);
    return reply;
}

std::optional<uid_t> userOf(const Request& request)
{
    return request.user ? request.user() : std::nullopt;
}

/// Whether the browser belongs to this machine's user: a link is useless to others who read it (the command line that
/// starts a browser is public).
bool isOwnBrowser(const Request& request)
{
    return userOf(request) == ::geteuid();
}

/// The session key for a cookie's secret: empty when there is none. Browsers send the cookie to any port of our name,
/// and without encryption another user's program may listen there: so the key includes the user, and the cookie is
/// worthless to others. An unknown user has no key.
std::string sessionKey(const Request& request, std::string_view secret)
{
    const auto user = secret.empty() || request.secure ? std::nullopt : userOf(request);
    if (secret.empty() || !(request.secure || user))
        return {};
    return std::string(secret) + (user ? " of user " + std::to_string(*user) : " over TLS");
}

std::string sessionKey(const Request& request)
{
    return sessionKey(request, sessionCookie(request));
}

} // namespace

Site::Site(Storage& storage, Clock clock, PasswordSignIn& signIn, Options options)
    : m_storage(storage), m_clock(std::move(clock)), m_options(options), m_sessions(storage), m_signIn(signIn)
{
    addDayPages(*this);
    addCatalogPages(*this);
    addPeoplePages(*this);
    addReportPages(*this);
    addRemovalPages(*this);
    addDataPages(*this);
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

bool Site::mayUpload(const Request& head)
{
    if (head.method != "POST" || head.path() != "/data/import" || !isUpload(head) || !isOurName(head) ||
        !isFromHere(head))
        return false;
    const Seconds now = std::chrono::floor<std::chrono::seconds>(m_clock()).time_since_epoch().count();
    const auto person = m_sessions.find(sessionKey(head), now);
    return person && person->admin;
}

void Site::add(std::string_view method, std::string_view path, Handler handler, For whom)
{
    m_routes.push_back({std::string(method), std::string(path), std::move(handler), whom});
}

Reply Site::answer(const Request& request)
{
    const Seconds now = std::chrono::floor<std::chrono::seconds>(m_clock()).time_since_epoch().count();
    const auto path = piecesOf(request.path());
    const bool isForm = request.method == "POST";
    if (!isForm && request.method != "GET" && request.method != "HEAD")
        return wrongMethod(plainProblem(405, "That Did Not Work", "This page cannot be asked for in this way."),
                           "GET, HEAD, POST");
    if (path.size() == 2 && path[0] == "assets")
        return asset(path[1]);
    if (!isOurName(request))
        return plainProblem(421, "Wrong Address",
                            "This service can be reached only at addresses that end in “localhost”.");
    if (isForm && !isFromHere(request))
        return plainProblem(403, "That Did Not Work", "This form did not come from a page of this service.");
    if (const auto trouble = m_storage.whyUnreadable())
        return plainProblem(trouble->status, "That Did Not Work", trouble->message);
    if (request.path() == "/sign-in/link" && !isForm)
        return followLink(request, now);

    const auto account = this->account(request);
    if (!account)
        return plainProblem(
            404, "No Such Account",
            request.subdomain().empty()
                ? "There are several accounts here. Put the name of yours and a dot in front of the address."
                : "There is no account with this name. The address begins with the name of the account.");
    if (request.path() == "/sign-in" && isForm)
        return signIn(request, *account, now);
    const auto session = sessionKey(request);
    auto person = m_sessions.find(session, now);
    return person ? answerSignedIn(request, session, std::move(*person), now)
                  : askToSignIn(request, *account, !sessionCookie(request).empty());
}

Reply Site::answerSignedIn(const Request& request, std::string_view session, Person person, Seconds now)
{
    Visit visit = this->visit(request, session, std::move(person), now);
    if (request.method == "POST") {
        visit.form = isUpload(request) ? readUpload(request).fields : Form::read(request.body);
        if (request.path() == "/sign-out") {
            m_sessions.end(session);
            return withSessionCookie(goTo(signInPath("/daily", SignInReason::SignedOut)), request, {});
        }
        if (!isSameSecret(visit.form.text("token"), visit.formToken)) {
            const auto held = HeldForm::of(request);
            auto reply =
                held.empty()
                    ? problemPage(visit, {403, "Forbidden", "This page is from an earlier session. Open it again."})
                    : sendAgainPage(visit, held);
            reply.status = 403;
            return reply;
        }
    }
    if (piecesOf(request.path()).empty() || request.path() == "/sign-in")
        return goTo(pathHere(visit.query.text("to")));
    return answerTo(visit);
}

Reply Site::askToSignIn(const Request& request, const Account& account, bool hadSession)
{
    SignIn signIn{.accountName = account.name, .withinProgram = m_options.withinProgram};
    if (request.path() == "/sign-in") {
        const auto query = Form::read(request.query());
        signIn.target = pathHere(query.text("to"));
        signIn.reason = signInReason(query);
        return signInPage(signIn);
    }
    if (request.path() == "/sign-out")
        return goTo(signInPath("/daily", SignInReason::SignedOut));
    if (request.method != "POST")
        return goTo(signInPath(pathHere(request.target), hadSession ? SignInReason::SessionEnded : SignInReason::None));
    signIn.held = HeldForm::of(request);
    signIn.target = pathBefore(request);
    signIn.reason = SignInReason::SessionEnded;
    signIn.status = 403;
    return signInPage(signIn);
}

Reply Site::signIn(const Request& request, const Account& account, Seconds now)
{
    const auto form = Form::read(request.body);
    SignIn signIn{.accountName = account.name,
                  .target = pathHere(form.text("to")),
                  .email = form.trimmed("email"),
                  .held = {form.text("held_target"), form.text("held_fields")},
                  .withinProgram = m_options.withinProgram};
    auto person = m_signIn.person(request, signIn.email, form.text("password"));
    if (!person) {
        const auto wait = person.error().tryAgainIn;
        const auto& problem = person.error().problem;
        signIn.problem = wait ? TooManyTries : problem ? problem->message : "Email and password do not match.";
        signIn.status = wait ? 429 : problem ? problem->status : 422;
        auto reply = signInPage(signIn);
        if (wait)
            reply.headers.emplace_back("Retry-After", std::to_string(wait->count()));
        return reply;
    }
    const auto secret = enter(request, person->id, now);
    if (!secret) {
        const bool isTold = request.secure || userOf(request);
        const auto trouble = m_storage.trouble();
        signIn.problem = !isTold
                             ? "This computer cannot tell whose browser this is, and without encryption nobody else "
                               "could be kept out."
                         : trouble ? trouble->message
                                   : "The data file cannot be written at the moment. Try again.";
        signIn.status = isTold ? 500 : 403;
        return signInPage(signIn);
    }
    if (signIn.held.empty())
        return withSessionCookie(goTo(signIn.target), request, *secret);
    signIn.held.target = pathHere(signIn.held.target);
    const Visit entered = visit(request, sessionKey(request, *secret), std::move(*person), now);
    return withSessionCookie(sendAgainPage(entered, signIn.held), request, *secret);
}

std::string Site::signInLink(const std::string& subdomain, const std::string& email, const std::string& target)
{
    if (!m_options.signInLinks)
        return target;
    const auto found = m_storage.look([&](SQLite::Database& database) -> tl::expected<std::optional<Person>, Problem> {
        return personByEmail(database, email, subdomain);
    });
    const Seconds now = std::chrono::floor<std::chrono::seconds>(m_clock()).time_since_epoch().count();
    const auto key = found && *found ? m_links.make((*found)->id, now) : std::nullopt;
    return key ? "/sign-in/link?key=" + *key + "&to=" + urlEncoded(target) : target;
}

Reply Site::followLink(const Request& request, Seconds now)
{
    const auto query = Form::read(request.query());
    const std::string target = pathHere(query.text("to"));
    // A prefetch must not use up the link before the person comes.
    if (!isGoneTo(request))
        return goTo(signInPath(target));
    const auto session = m_sessions.find(sessionKey(request), now);
    const bool isOwn = isOwnBrowser(request);
    const auto person = m_options.signInLinks && isOwn ? m_links.take(query.text("key"), now) : std::nullopt;
    if (session && (!person || session->id == *person))
        return goTo(target);
    const auto secret = person ? enter(request, *person, now) : std::nullopt;
    if (const auto trouble = m_storage.trouble(); person && !secret && trouble)
        return plainProblem(trouble->status, "That Did Not Work", trouble->message);
    // Opening another from the menu would not help when the browser's user is unknown.
    const auto reason = m_options.signInLinks && !isOwn ? SignInReason::LinkOfAnother : SignInReason::LinkUsed;
    return secret ? withSessionCookie(goTo(target), request, *secret) : goTo(signInPath(target, reason));
}

std::optional<std::string> Site::enter(const Request& request, Id person, Seconds now)
{
    auto secret = randomSecret();
    const auto session = sessionKey(request, secret.value_or(std::string()));
    if (session.empty() || !m_sessions.begin(session, person, now))
        return {};
    // Whoever was signed in with this browser before no longer is.
    if (const auto before = sessionKey(request); !before.empty())
        m_sessions.end(before);
    return secret;
}

Visit Site::visit(const Request& request, std::string_view session, Person person, Seconds now)
{
    return {request,
            m_storage,
            std::move(person),
            now,
            std::string(session),
            Sessions::formToken(session),
            Form::read(request.query()),
            {},
            m_options.withinProgram};
}

std::optional<Site::Account> Site::account(const Request& request)
{
    using Found = tl::expected<std::optional<Account>, Problem>;
    const auto found = m_storage.look([&](SQLite::Database& database) -> Found {
        SQLite::Statement query(database, "SELECT subdomain, name FROM accounts WHERE subdomain = ?1"
                                          " OR (?1 = '' AND (SELECT COUNT(*) FROM accounts) = 1)");
        query.bind(1, request.subdomain());
        if (!query.executeStep())
            return std::optional<Account>();
        return Account{query.getColumn(0).getString(), query.getColumn(1).getString()};
    });
    return found.value_or(std::nullopt);
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
    const std::string method = visit.request.method == "HEAD" ? "GET" : visit.request.method;
    bool isThere = false;
    for (const auto& route : m_routes) {
        const auto numbers = numbersIn(visit.request.path(), route.path);
        isThere = isThere || numbers;
        if (!numbers || route.method != method)
            continue;
        if (route.whom == For::Administrators && !visit.person.admin)
            return problemPage(visit, {403, "Forbidden", "Only an administrator of this account can do that."});
        auto reply = route.handler(visit, *numbers);
        if (reply.status == 404 && method == "GET" && !numbers->empty())
            return removedPage(visit, numbers->front()).value_or(std::move(reply));
        return reply;
    }
    if (!isThere)
        return notFoundPage(visit);
    // Usually a page left and returned to: the address of a form was opened again.
    return wrongMethod(notFoundPage(visit), method == "GET" ? "POST" : "GET, HEAD");
}

} // namespace localservice
