#pragma once

#include "Page.h"

#include <string>
#include <tl/expected.hpp>

namespace localservice {

class Site;

/// A new password for a person.
struct NewPassword
{
    std::string text;
    std::string hash;
    bool typed = false; ///< else the service made it
};

/// The account's name in a form that asks for its password: for password managers, not for people.
void writeUserName(Html& html, const std::string& email);
/// The fields for choosing whether the service makes a password or uses `typed`, and `error` for the latter. `email` is
/// the person's, empty when the form asks for that, too.
void writeNewPassword(Html& html, const std::string& email, bool typed, const std::string& error);
/// What was chosen there.
tl::expected<NewPassword, Problem> newPasswordIn(const Form& form);
/// The stored form of a chosen password, which must be long enough. `field` is where it was typed.
tl::expected<std::string, Problem> hashOfChosen(const std::string& password, const std::string& field);

/// A sheet that explains how to sign in with a browser and with the desktop program.
void writeHowToSignIn(Html& html, const Visit& visit, const std::string& email);

/// /account
void addAccountPages(Site& site);

} // namespace localservice
