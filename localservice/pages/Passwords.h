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

/// The fields that ask whether the service makes a password or `typed` takes one, and `error` about that one.
void writeNewPassword(Html& html, bool typed, const std::string& error);
/// What was chosen there.
tl::expected<NewPassword, Problem> newPasswordIn(const Form& form);
/// The stored form of a password that somebody chose, which must be long enough. `field` is where it was typed.
tl::expected<std::string, Problem> hashOfChosen(const std::string& password, const std::string& field);

/// A sheet that says how to sign in with a browser and with the desktop program.
void writeHowToSignIn(Html& html, const Visit& visit, const std::string& email);

/// /account
void addAccountPages(Site& site);

} // namespace localservice
