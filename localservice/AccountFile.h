#pragma once

#include "Database.h"
#include "Import.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

// An account as one JSON file: clients, projects, tasks, assignments, people without passwords, entries. The format is
// described in docs/data-format.md.

namespace localservice {

/// Writes the file, a piece at a time, as the account was when it began.
class AccountWriter final
{
public:
    /// Throws SQLite::Exception, as `next` does. A timer that runs has its time up to `now`.
    AccountWriter(const std::string& dataFile, Id account, Seconds now);
    ~AccountWriter();
    AccountWriter(const AccountWriter&) = delete;
    AccountWriter& operator=(const AccountWriter&) = delete;

    /// The next piece; empty at the end.
    std::string next();

private:
    class State;
    std::unique_ptr<State> m_state;
};

/// Whether the file says that it is one of these, whatever else is wrong with it.
bool isAccountFile(std::string_view file);

/// Reads such a file. What does not fit its format is refused as a whole, with the line.
tl::expected<Incoming, LineRemark> readAccountFile(std::string_view file);

} // namespace localservice
