#pragma once

#include "Credentials.h"
#include "Http.h"
#include "Person.h"
#include "Problem.h"
#include "SignInThrottle.h"

#include <chrono>
#include <optional>
#include <string>
#include <tl/expected.hpp>

namespace localservice {

class Storage;

/// Tells by email and password who somebody is, for programs and pages alike, and makes guessing slow. Thread-safe.
class PasswordSignIn final
{
public:
    /// Why not: they do not fit together, or nobody could look at them.
    struct Refusal
    {
        std::optional<std::chrono::seconds> tryAgainIn = {}; ///< set when there were too many tries
        std::optional<Problem> problem = {};                 ///< set when the data file could not be read
    };

    PasswordSignIn(Storage& storage, Clock clock) : m_storage(storage), m_throttle(std::move(clock)) {}

    /// The person in the account that the request is for.
    tl::expected<Person, Refusal> person(const Request& request, const std::string& email, const std::string& password);

private:
    Storage& m_storage;
    SignInThrottle m_throttle;
    PasswordCheck m_passwords;
};

} // namespace localservice
