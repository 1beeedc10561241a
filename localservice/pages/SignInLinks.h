#pragma once

#include "Database.h"

#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace localservice {

/// Keys that sign a browser in without a password: 256 random bits each, good for one sign-in within a minute. In
/// memory only, as digests. Thread-safe.
class SignInLinks final
{
public:
    /// A key for that person; nothing when there are no random numbers.
    std::optional<std::string> make(Id person, Seconds now);
    /// Whose key it is; the key is then used up.
    std::optional<Id> take(std::string_view key, Seconds now);

private:
    struct Link
    {
        std::string digest;
        Id person = 0;
        Seconds made = 0;
    };

    std::mutex m_mutex;
    std::deque<Link> m_links; // oldest first
};

} // namespace localservice
