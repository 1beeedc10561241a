#pragma once

#include "Credentials.h"
#include "Database.h"
#include "Http.h"
#include "PasswordSignIn.h"
#include "Timesheet.h"

namespace localservice {

/// Turns requests into replies: who is asking, what for, and the XML of the answer. Any thread.
class Api final
{
public:
    /// `ownerPassword`: see Service::Options.
    Api(Storage& storage, Clock clock, PasswordSignIn& signIn, std::string_view ownerPassword);

    Reply answer(const Request& request);

private:
    /// Who sent the request, or the reply for strangers.
    tl::expected<Person, Reply> signedIn(const Request& request);
    Reply answerTo(const Person& person, const Request& request);

    Storage& m_storage;
    Clock m_clock;
    PasswordSignIn& m_signIn;
    std::string m_ownerDigest;
};

} // namespace localservice
