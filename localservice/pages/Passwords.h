#pragma once

#include "Page.h"

#include <string>
#include <tl/expected.hpp>

namespace localservice {

class Site;

/// A password that somebody is given.
struct NewPassword
{
    std::string text;
    std::string hash;
    bool typed = false; ///< else the service made it
};

/// The account's name in a form that asks for its password: managers of passwords look for it, people do not.
void writeUserName(Html& html, const std::string& email);
/// The fields that ask whether the service makes a password or `typed` takes one, and `error` about that one. `email`
/// is whose it is, empty when the form asks for that, too.
void writeNewPassword(Html& html, const std::string& email, bool typed, const std::string& error);
/// What was chosen there.
tl::expected<NewPassword, Problem> newPasswordIn(const Form& form);
/// The stored form of a password that somebody chose, which must be long enough. `field` is where it was typed.
tl::expected<std::string, Problem> hashOfChosen(const std::string& password, const std::string& field);

/// A sheet that says how to sign in with a browser and with the desktop program.
void writeHowToSignIn(Html& html, const Visit& visit, const std::string& email);

/// /account
void addAccountPages(Site& site);

} // namespace localservice
