#include "SignInPages.h"

#include "Upload.h"

#include "Browser.h"
#include "Parts.h"

#include <algorithm>
#include <array>

namespace localservice {

namespace {

struct Reason
{
    SignInReason reason;
    std::string_view name;
    std::string_view text;
};

// The address contains only its name, so that no link can put words into our mouth.
constexpr std::array Reasons{
    Reason{SignInReason::SessionEnded, "ended", "Your session has ended. Sign in to continue where you were."},
    Reason{SignInReason::SignedOut, "out", "You are signed out."},
    Reason{SignInReason::LinkUsed, "link",
           "This link has been used or is more than a minute old. Open the page from Quillon’s menu again, or sign in"
           " here."},
    Reason{SignInReason::LinkOfAnother, "user",
           "This link works only in a browser of the user who runs Quillon, and this computer cannot tell whose browser"
           " this is. Sign in here."},
};

bool isPassword(std::string_view name)
{
    return name.find("password") != std::string_view::npos;
}

/// A readable form of "spent_at": "Spent at".
std::string readable(std::string name)
{
    std::replace(name.begin(), name.end(), '_', ' ');
    if (!name.empty() && name[0] >= 'a' && name[0] <= 'z')
        name[0] = static_cast<char>(name[0] - 32);
    return name;
}

/// Whether it names records, such as 12 or 12-7, which mean nothing to people.
bool isRecord(std::string_view value)
{
    return value.find_first_not_of("0123456789-") == std::string_view::npos &&
           std::count(value.begin(), value.end(), '-') < 2;
}

/// Where people find the password they are asked for.
void writeAdvice(Html& html, bool withinProgram)
{
    const auto advice = html.in("div", {{"class", "advice"}});
    if (withinProgram) {
        html.leaf("p", "No password? Open this page from Quillon’s menu to be signed in.");
        html.leaf("p", "To sign in from other browsers, choose a password on your account page.");
        return;
    }
    html.leaf("p", "Your administrator gives you the password.");
    const auto paragraph = html.in("p");
    html.text("Is this your service? It printed a password when it first started; ");
    html.leaf("code", "quillon-service --reset-password");
    html.text(" creates a new one.");
}

} // namespace

HeldForm HeldForm::of(const Request& request)
{
    if (isUpload(request))
        return {};
    HeldForm held{pathHere(request.target)};
    const auto form = Form::read(request.body);
    for (const auto& [name, value] : form.fields()) {
        if (isPassword(name))
            return {};
        if (name != "token")
            held.fields += (held.fields.empty() ? "" : "&") + urlEncoded(name) + "=" + urlEncoded(value);
    }
    return held;
}

Reply signInPage(const SignIn& signIn)
{
    return plainPage({"Sign In", Section::None, signIn.status}, [&](Html& html) {
        html.leaf("p", {{"class", "lead"}}, signIn.accountName);
        if (!signIn.problem.empty())
            writeProblem(html, signIn.problem);
        else if (!signIn.held.empty())
            html.leaf(
                "p", {{"class", "hint"}, {"role", "status"}},
                "Your session has ended, so nothing has been saved yet. What you wrote is kept: sign in to send it"
                " again.");
        for (const auto& reason : Reasons) {
            if (reason.reason == signIn.reason && signIn.problem.empty() && signIn.held.empty())
                html.leaf("p", {{"class", "hint"}, {"role", "status"}}, reason.text);
        }
        const auto sheet = html.in("div", {{"class", "sheet"}});
        const auto form = html.in("form", {{"method", "post"}, {"action", "/sign-in"}});
        writeHidden(html, "to", signIn.target);
        if (!signIn.held.empty()) {
            writeHidden(html, "held_target", signIn.held.target);
            writeHidden(html, "held_fields", signIn.held.fields);
        }
        writeField(html, {.name = "email",
                          .label = "Email",
                          .value = signIn.email,
                          .type = "email",
                          .required = true,
                          .autocomplete = "username",
                          .cssClass = "wide",
                          .autofocus = signIn.email.empty()});
        writeField(html, {.name = "password",
                          .label = "Password",
                          .type = "password",
                          .required = true,
                          .autocomplete = "current-password",
                          .cssClass = "wide",
                          .autofocus = !signIn.email.empty()});
        html.leaf("button", {{"class", "main"}}, "Sign In");
        writeAdvice(html, signIn.withinProgram);
    });
}

std::string signInPath(std::string_view target, SignInReason reason)
{
    std::string path = "/sign-in?to=" + urlEncoded(target);
    for (const auto& known : Reasons) {
        if (known.reason == reason)
            (path += "&why=") += known.name;
    }
    return path;
}

SignInReason signInReason(const Form& query)
{
    const auto found = std::find_if(Reasons.begin(), Reasons.end(),
                                    [&](const auto& known) { return known.name == query.text("why"); });
    return found == Reasons.end() ? SignInReason::None : found->reason;
}

Reply sendAgainPage(const Visit& visit, const HeldForm& held)
{
    return page(visit, {"Not Saved Yet"}, [&](Html& html) {
        const auto sheet = html.in("section", {{"class", "sheet question"}});
        html.leaf("p", "Your session had ended when you sent this. Nothing is lost: check it and send it again.");
        const auto fields = Form::read(held.fields);
        {
            const auto list = html.in("dl", {{"class", "held"}});
            for (const auto& [name, value] : fields.fields()) {
                if (value.empty() || (isRecord(value) && name != "hours"))
                    continue;
                html.leaf("dt", readable(name));
                html.leaf("dd", value);
            }
        }
        const auto form = formTo(html, visit, held.target, "buttons");
        for (const auto& [name, value] : fields.fields())
            writeHidden(html, name, value);
        html.leaf("button", {{"class", "main"}}, "Send Again");
        html.leaf("a", {{"class", "button"}, {"href", "/daily"}}, "Discard");
    });
}

} // namespace localservice
