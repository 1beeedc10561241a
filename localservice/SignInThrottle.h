#pragma once

#include "DateText.h"

#include <chrono>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace localservice {

/// Makes guessing passwords slow: from one client address ten of them for one person and fifty in all, in a quarter of
/// an hour.
///
/// The same wrong password counts once, so a program that keeps on trying an old one blocks nobody. Guesses from
/// elsewhere never count against an address, and those for other people not against somebody who has signed in from
/// there. An address of IPv6 counts as its network of 64 bits. Where it is known which user of this machine tries, the
/// ten are that user's, so that nobody keeps others of the machine out. In memory only. Thread-safe.
class SignInThrottle final
{
public:
    explicit SignInThrottle(Clock clock) : m_clock(std::move(clock)) {}

    /// Counts a try. Nothing when it may go on; else how long until another may, and nothing is to be told or worked
    /// out about this one. `peer` is numeric.
    std::optional<std::chrono::seconds> tryAgainIn(const std::string& peer, std::optional<uid_t> user,
                                                   std::string_view email, std::string_view password);
    /// That try was right: the person's failures at this place are forgotten.
    void succeeded(const std::string& peer, std::optional<uid_t> user, std::string_view email);

private:
    struct Place
    {
        std::string network;
        std::optional<uid_t> user;
        std::size_t person = 0;
        bool operator==(const Place&) const = default;
    };
    struct Try
    {
        std::chrono::system_clock::time_point time;
        Place place;
        std::size_t password = 0;
    };
    static Place placeOf(const std::string& peer, std::optional<uid_t> user, std::string_view email);

    Clock m_clock;
    std::mutex m_mutex;
    std::deque<Try> m_tries;      // oldest first
    std::deque<Place> m_signedIn; // longest ago first
};

} // namespace localservice
