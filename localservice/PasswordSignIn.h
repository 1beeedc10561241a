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

/// Identifies people by email and password, for programs and pages alike, and slows down guessing. Thread-safe.
class PasswordSignIn final
{
public:
    /// Why not: the two do not match, or could not be checked.
    struct Refusal
    {
        std::optional<std::chrono::seconds> tryAgainIn = {}; ///< set after too many tries
        std::optional<Problem> problem = {};                 ///< set when the data file could not be read
    };

    PasswordSignIn(Storage& storage, Clock clock) : m_storage(storage), m_throttle(std::move(clock)) {}

    /// The person in the account that the request addresses.
    tl::expected<Person, Refusal> person(const Request& request, const std::string& email, const std::string& password);

private:
    Storage& m_storage;
    SignInThrottle m_throttle;
    PasswordCheck m_passwords;
};

} // namespace localservice
