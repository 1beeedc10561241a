#pragma once

#include "Credentials.h"
#include "Database.h"
#include "Http.h"
#include "Timesheet.h"

namespace localservice {

/// Turns requests into replies: who is asking, what for, and the XML of the answer. Any thread.
class Api final
{
public:
    Api(Storage& storage, Clock clock);

    Reply answer(const Request& request);

private:
    std::optional<Person> signedIn(const Request& request);
    Reply answerTo(const Person& person, const Request& request);

    Storage& m_storage;
    Clock m_clock;
    PasswordCheck m_passwords;
};

} // namespace localservice
