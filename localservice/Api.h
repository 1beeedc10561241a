#pragma once

#include "Credentials.h"
#include "Database.h"
#include "Http.h"
#include "PasswordSignIn.h"
#include "Timesheet.h"

namespace localservice {

/// Turns requests into replies: finds the person and the route, and writes the XML. Any thread.
class Api final
{
public:
    /// `ownerPassword`: see Service::Options.
    Api(Storage& storage, Clock clock, PasswordSignIn& signIn, std::string_view ownerPassword);

    Reply answer(const Request& request);

private:
    /// The sender of the request, or the reply for unknown ones.
    tl::expected<Person, Reply> signedIn(const Request& request);
    Reply answerTo(const Person& person, const Request& request);

    Storage& m_storage;
    Clock m_clock;
    PasswordSignIn& m_signIn;
    std::string m_ownerDigest;
};

} // namespace localservice
