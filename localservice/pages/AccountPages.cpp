#include "Parts.h"
#include "PasswordSignIn.h"
#include "Passwords.h"
#include "People.h"
#include "SignInPages.h"
#include "Site.h"
#include "Storage.h"

#include <optional>

namespace localservice {

namespace {

using Numbers = std::vector<Id>;

const std::string Here = "/account";

/// What was typed in one of the page's forms when it was rejected.
struct Typed
{
    std::optional<PersonDetails> details = {};
    std::optional<std::string> accountName = {};
    Problem problem;
};

std::string errorOf(const Typed* typed, std::string_view field)
{
    return typed && typed->problem.field == field ? typed->problem.message : std::string();
}

PersonDetails ownDetails(const Person& person)
{
    return {person.email, person.firstName, person.lastName, person.admin};
}

void writeYou(Html& html, const Visit& visit, const Typed* typed)
{
    const auto details = typed && typed->details ? *typed->details : ownDetails(visit.person);
    const auto sheet = html.in("section", {{"class", "sheet"}});
    html.leaf("h2", "You");
    const auto form = formTo(html, visit, Here, "fields");
    {
        const auto row = html.in("div", {{"class", "row"}});
        writeField(html, {.name = "first-name",
                          .label = "First name",
                          .value = details.firstName,
                          .error = errorOf(typed, "first-name"),
                          .required = true,
                          .autocomplete = "given-name",
                          .longest = People::LongestName});
        writeField(html, {.name = "last-name",
                          .label = "Last name",
                          .value = details.lastName,
                          .error = errorOf(typed, "last-name"),
                          .autocomplete = "family-name",
                          .longest = People::LongestName,
                          .optional = true});
    }
    writeField(html, {.name = "email",
                      .label = "Email",
                      .value = details.email,
                      .help = "You sign in with it, here and in the desktop program.",
                      .error = errorOf(typed, "email"),
                      .type = "email",
                      .required = true,
                      .autocomplete = "email",
                      .longest = People::LongestEmail});
    const auto buttons = html.in("div", {{"class", "buttons"}});
    html.leaf("button", {{"class", "main"}}, "Save");
}

void writePassword(Html& html, const Visit& visit, const Typed* typed)
{
    const bool has = !visit.person.passwordHash.empty();
    const auto sheet = html.in("section", {{"class", "sheet"}});
    html.leaf("h2", "Password");
    html.leaf("p", {{"class", "faint"}},
              has ? std::string("A new password signs you out of every other browser.") +
                        (visit.withinProgram ? "" : " The desktop program asks for it as well.")
                  : "You have none yet: Quillon on this computer signs you in by itself. With a password you can also "
                    "sign in here without it.");
    const auto form = formTo(html, visit, Here + "/password", "fields");
    writeUserName(html, visit.person.email);
    if (has)
        writeField(html, {.name = "present-password",
                          .label = "Current password",
                          .error = errorOf(typed, "present-password"),
                          .type = "password",
                          .required = true,
                          .autocomplete = "current-password"});
    writeField(html, {.name = "new-password",
                      .label = "New password",
                      .help = "At least 10 characters. Several words in a row are easy to remember.",
                      .error = errorOf(typed, "new-password"),
                      .type = "password",
                      .required = true,
                      .autocomplete = "new-password"});
    writeField(html, {.name = "new-password-again",
                      .label = "Repeat new password",
                      .error = errorOf(typed, "new-password-again"),
                      .type = "password",
                      .required = true,
                      .autocomplete = "new-password"});
    const auto buttons = html.in("div", {{"class", "buttons"}});
    html.leaf("button", {{"class", "main"}}, has ? "Change Password" : "Set Password");
}

void writeEverywhere(Html& html, const Visit& visit)
{
    const auto sheet = html.in("section", {{"class", "sheet"}});
    html.leaf("h2", "Browsers");
    html.leaf("p", {{"class", "faint"}},
              "Signs you out of this browser and all others. The desktop program stays signed in.");
    const auto form = formTo(html, visit, Here + "/sign-out-everywhere", "buttons");
    html.leaf("button", "Sign Out Everywhere");
}

void writeAccount(Html& html, const Visit& visit, const Typed* typed)
{
    const bool times = visit.person.timestampTimers;
    const auto sheet = html.in("section", {{"class", "sheet"}});
    html.leaf("h2", "Account");
    const auto form = formTo(html, visit, Here + "/settings", "fields");
    writeField(html, {.name = "account-name",
                      .label = "Name",
                      .value = typed && typed->accountName ? *typed->accountName : visit.person.accountName,
                      .help = "Everyone sees it, in the desktop program too.",
                      .error = errorOf(typed, "account-name"),
                      .required = true,
                      .longest = People::LongestName});
    {
        const auto kinds = html.in("fieldset");
        html.leaf("legend", "What people type");
        const auto kind = [&](const std::string& value, std::string_view label, const std::string& help, bool chosen) {
            const auto box = html.in("div", {{"class", "check"}});
            html.empty("input", {{"type", "radio"},
                                 {"name", "timers"},
                                 {"id", "timers-" + value},
                                 {"value", value},
                                 {"checked", chosen},
                                 {"aria-describedby", "timers-" + value + "-help"}});
            html.leaf("label", {{"for", "timers-" + value}}, label);
            html.leaf("p", {{"class", "help"}, {"id", "timers-" + value + "-help"}}, help);
        };
        kind("hours", "Hours", "How long something took: 1:30.", !times);
        kind("times", "Start and end times", "When it began and ended: 9:00 to 10:30. The hours follow from that.",
             times);
    }
    html.leaf("p", {{"class", "help"}},
              "A change applies to everyone. Existing entries keep their hours and times. Desktop programs follow "
              "within minutes.");
    html.leaf("p", {{"class", "help"}}, "Days begin at midnight by this computer’s clock (" + localZoneName() + ").");
    const auto buttons = html.in("div", {{"class", "buttons"}});
    html.leaf("button", {{"class", "main"}}, "Save Account");
}

void writeData(Html& html, const Visit& visit)
{
    const auto sheet = html.in("section", {{"class", "sheet"}});
    html.leaf("h2", "Your data");
    html.leaf("p", {{"class", "faint"}},
              visit.person.admin ? "Bring time in, take everything along, and bring back what was deleted."
                                 : "Take your time along, and bring back what you deleted.");
    html.leaf("a", {{"class", "button"}, {"href", "/data"}}, "Open Your Data");
}

Reply accountPage(const Visit& visit, const Typed* typed = nullptr)
{
    return page(visit,
                {.title = "Your Account", .section = Section::Account, .status = typed ? typed->problem.status : 200},
                [&](Html& html) {
                    if (typed && typed->problem.field.empty())
                        writeProblem(html, typed->problem.message);
                    if (visit.query.text("note") == "password")
                        html.leaf("p", {{"class", "note"}, {"role", "status"}}, "Your password has been changed.");
                    {
                        const auto pair = html.in("div", {{"class", "pair"}});
                        writeYou(html, visit, typed);
                        writePassword(html, visit, typed);
                    }
                    if (visit.person.admin)
                        writeAccount(html, visit, typed);
                    const auto pair = html.in("div", {{"class", "pair"}});
                    if (!visit.person.passwordHash.empty())
                        writeHowToSignIn(html, visit, visit.person.email);
                    writeData(html, visit);
                    writeEverywhere(html, visit);
                });
}

Reply refused(const Visit& visit, const Typed& typed)
{
    return accountPage(visit, &typed);
}

Reply save(const Visit& visit)
{
    const PersonDetails details{visit.form.trimmed("email"), visit.form.text("first-name"),
                                visit.form.text("last-name"), visit.person.admin};
    const auto done = visit.storage.change([&](SQLite::Database& database) {
        return People(database, visit.person.account).change(visit.person.id, details);
    });
    return done ? goTo(Here, "saved") : refused(visit, {.details = details, .problem = done.error()});
}

Reply changePassword(const Visit& visit, PasswordSignIn& signIn)
{
    const auto wrong = [&](std::string message, std::string field, int status = 422) {
        return refused(visit, {.problem = {status, "Validation", std::move(message), std::move(field)}});
    };
    const auto& form = visit.form;
    if (!visit.person.passwordHash.empty()) {
        const auto person = signIn.person(visit.request, visit.person.email, form.text("present-password"));
        if (!person && person.error().tryAgainIn)
            return wrong(TooManyTries, "present-password", 429);
        if (!person || person->id != visit.person.id)
            return wrong("This is not your current password.", "present-password");
    }
    if (form.text("new-password") != form.text("new-password-again"))
        return wrong("The two new passwords do not match.", "new-password-again");
    const auto hash = hashOfChosen(form.text("new-password"), "new-password");
    if (!hash)
        return refused(visit, {.problem = hash.error()});
    const auto done = visit.storage.change([&](SQLite::Database& database) {
        return People(database, visit.person.account).setPassword(visit.person.id, *hash, visit.session);
    });
    return done ? goTo(Here, "password") : refused(visit, {.problem = done.error()});
}

Reply signOutEverywhere(const Visit& visit)
{
    const auto done = visit.storage.change([&](SQLite::Database& database) -> tl::expected<void, Problem> {
        Sessions::endAllOf(database, visit.person.id);
        return {};
    });
    return done ? goTo("/sign-in") : refused(visit, {.problem = done.error()});
}

Reply saveAccount(const Visit& visit)
{
    const auto name = nameText(visit.form.text("account-name"));
    std::string wrong;
    if (name.empty())
        wrong = "An account needs a name.";
    else if (characterCount(name) > People::LongestName)
        wrong = "This name is too long. It can have 100 characters.";
    if (!wrong.empty())
        return refused(visit, {.accountName = name, .problem = {422, "Validation", wrong, "account-name"}});
    const bool times = visit.form.text("timers") == "times";
    const auto done = visit.storage.change([&](SQLite::Database& database) -> tl::expected<void, Problem> {
        // A new cache version makes clients request the account, too.
        SQLite::Statement update(database, "UPDATE accounts SET name = ?, timestamp_timers = ?,"
                                           " cache_version = cache_version + 1 WHERE id = ?");
        SQLite::bind(update, name, int{times}, visit.person.account);
        update.exec();
        return {};
    });
    return done ? goTo(Here, "saved") : refused(visit, {.accountName = name, .problem = done.error()});
}

} // namespace

void addAccountPages(Site& site)
{
    constexpr auto admins = Site::For::Administrators;
    site.add("GET", Here, [](const Visit& visit, const Numbers&) { return accountPage(visit); });
    site.add("POST", Here, [](const Visit& visit, const Numbers&) { return save(visit); });
    site.add("POST", Here + "/password", [&signIn = site.passwordSignIn()](const Visit& visit, const Numbers&) {
        return changePassword(visit, signIn);
    });
    site.add("POST", Here + "/sign-out-everywhere",
             [](const Visit& visit, const Numbers&) { return signOutEverywhere(visit); });
    site.add(
        "POST", Here + "/settings", [](const Visit& visit, const Numbers&) { return saveAccount(visit); }, admins);
}

} // namespace localservice
