#include "Passwords.h"

#include "Parts.h"
#include "People.h"
#include "Storage.h"

#include "../Credentials.h"

namespace localservice {

namespace {

constexpr const char* TypedField = "password";

std::string subdomainOf(const Visit& visit)
{
    return visit.storage
        .look([&](SQLite::Database& database) -> tl::expected<std::string, Problem> {
            SQLite::Statement query(database, "SELECT subdomain FROM accounts WHERE id = ?");
            query.bind(1, visit.person.account);
            return query.executeStep() ? query.getColumn(0).getString() : std::string();
        })
        .value_or(std::string());
}

/// What follows the account's name in the host that programs use: ".localhost:8787". Empty when the browser used an
/// address that does not show it.
std::string domainOf(const Request& request, const std::string& subdomain)
{
    const std::string host(request.header("Host"));
    const auto label = request.subdomain();
    if (!label.empty() && label == subdomain)
        return host.substr(label.size());
    const auto colon = host.rfind(':');
    const bool here = host.starts_with("localhost") || host.starts_with("127.") || host.starts_with("[::1]");
    const bool port = colon != std::string::npos && host.find(']', colon) == std::string::npos;
    return here ? ".localhost" + (port ? host.substr(colon) : std::string()) : std::string();
}

void writeFact(Html& html, std::string_view name, std::string_view value)
{
    html.leaf("dt", name);
    html.leaf("dd", value);
}

} // namespace

void writeUserName(Html& html, const std::string& email)
{
    html.empty("input", {{"type", "text"},
                         {"name", "username"},
                         {"value", email},
                         {"autocomplete", "username"},
                         {"aria-label", "Email"},
                         {"readonly", true},
                         {"hidden", true}});
}

void writeNewPassword(Html& html, const std::string& email, bool typed, const std::string& error)
{
    if (!email.empty())
        writeUserName(html, email);
    const auto choice = html.in("fieldset");
    html.leaf("legend", {{"class", email.empty() ? "" : "unseen"}}, "Password");
    const auto radio = [&](const std::string& value, std::string_view label, bool checked) {
        const auto box = html.in("div", {{"class", "check"}});
        html.empty("input", {{"type", "radio"},
                             {"name", "password-by"},
                             {"id", "password-by-" + value},
                             {"value", value},
                             {"checked", checked}});
        html.leaf("label", {{"for", "password-by-" + value}}, label);
    };
    radio("made", "Create one and show it once", !typed);
    radio("typed", "Choose one yourself", typed);
    writeField(html, {.name = TypedField,
                      .label = "Password",
                      .help = "At least 10 characters.",
                      .error = error,
                      .type = "password",
                      .autocomplete = "new-password"});
}

tl::expected<NewPassword, Problem> newPasswordIn(const Form& form)
{
    NewPassword result;
    // A typed password was meant, whichever button is selected above it.
    result.typed = form.text("password-by") == "typed" || !form.text(TypedField).empty();
    if (!result.typed) {
        const auto made = randomPassword();
        const auto hash = made ? hashOfPassword(*made) : std::nullopt;
        if (!hash)
            return tl::unexpected(Problem{500, "Random", "There are no random numbers for a password."});
        return NewPassword{*made, *hash, false};
    }
    result.text = form.text(TypedField);
    auto hash = hashOfChosen(result.text, TypedField);
    if (!hash)
        return tl::unexpected(hash.error());
    result.hash = std::move(*hash);
    return result;
}

tl::expected<std::string, Problem> hashOfChosen(const std::string& password, const std::string& field)
{
    if (const auto wrong = People::wrongWithPassword(password); !wrong.empty())
        return tl::unexpected(Problem{422, "Validation", wrong, field});
    const auto hash = hashOfPassword(password);
    if (!hash)
        return tl::unexpected(Problem{500, "Random", "The password could not be hashed."});
    return *hash;
}

void writeHowToSignIn(Html& html, const Visit& visit, const std::string& email)
{
    const auto subdomain = subdomainOf(visit);
    const auto domain = domainOf(visit.request, subdomain);
    const bool secure = visit.request.secure;
    const auto sheet = html.in("section", {{"class", "sheet"}});
    html.leaf("h2", "How to sign in");
    html.leaf("h3", "In a browser");
    {
        const auto facts = html.in("dl", {{"class", "facts"}});
        writeFact(html, "Address",
                  (secure ? "https://" : "http://") +
                      (domain.empty() ? std::string(visit.request.header("Host")) : subdomain + domain));
        writeFact(html, "Email", email);
    }
    if (visit.withinProgram && email == visit.person.email)
        return;
    html.leaf("h3", "In the desktop program");
    {
        const auto facts = html.in("dl", {{"class", "facts"}});
        writeFact(html, "Account", subdomain);
        writeFact(html, "Email", email);
    }
    const auto text = html.in("p", {{"class", "faint"}});
    html.text("Enter both in its preferences. ");
    if (domain.empty())
        return;
    html.text("To make it look for the account here, add this line to its file Info.json, next to Quillon.conf in its "
              "settings folder:");
    const auto line = html.in("span", {{"class", "line"}});
    html.leaf("code", secure ? "{\"QuillonServiceDomain\": \"" + domain + "\", \"QuillonReachabilityHost\": \"" +
                                   subdomain + domain.substr(0, domain.rfind(':')) + "\"}"
                             : "{\"QuillonLocalDebug\": true, \"QuillonDevelopmentDomain\": \"" + domain + "\"}");
}

} // namespace localservice
