#pragma once

#include "Form.h"
#include "Page.h"

#include <string>
#include <string_view>

namespace localservice {

/// A form sent after its session had ended: kept in the page, and sent again once somebody has signed in and looked at
/// it, so that nothing is lost and nothing is done without consent.
struct HeldForm
{
    std::string target = {};
    std::string fields = {}; ///< encoded as a body, without the session's token

    /// A form with passwords is not kept, nor is a file.
    static HeldForm of(const Request& request);
    bool empty() const { return target.empty(); }
};

/// Why somebody has to sign in, when there is more to say than that.
enum class SignInReason
{
    None,
    SessionEnded,
    SignedOut,
    LinkUsed,
    LinkOfAnother, ///< the browser is not known to belong to the user the link is for
};

struct SignIn
{
    std::string accountName = {};
    std::string target = {}; ///< where it goes on to
    std::string email = {};
    std::string problem = {}; ///< why the last try failed
    SignInReason reason = SignInReason::None;
    HeldForm held = {};
    /// The service runs within the desktop program, whose menu opens pages signed in.
    bool withinProgram = false;
    int status = 200;
};

/// The message shown instead of whether the password is right.
constexpr const char* TooManyTries = "There were too many attempts. Try again in a few minutes.";

Reply signInPage(const SignIn& signIn);
/// The address of the sign-in page that goes on to `target`.
std::string signInPath(std::string_view target, SignInReason reason = SignInReason::None);
/// The reason named by such an address.
SignInReason signInReason(const Form& query);

/// Shows a form that was held back, to be sent again.
Reply sendAgainPage(const Visit& visit, const HeldForm& held);

} // namespace localservice
