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

/// Slows down guessing passwords: one client address gets ten guesses for one person and fifty in all, per quarter of
/// an hour.
///
/// The same wrong password counts once, so a program that keeps trying an old one blocks nobody. Guesses from elsewhere
/// never count against an address, nor those for other people against a person who has signed in from there. An IPv6
/// address counts as its network of 64 bits. Where the local user making the attempt is known, the ten are that user's,
/// so that nobody locks out other users of the machine. In memory only. Thread-safe.
class SignInThrottle final
{
public:
    explicit SignInThrottle(Clock clock) : m_clock(std::move(clock)) {}

    /// Counts a try. Nothing when it may proceed; otherwise the wait until another may, and this one must be neither
    /// checked nor answered. `peer` is numeric.
    std::optional<std::chrono::seconds> tryAgainIn(const std::string& peer, std::optional<uid_t> user,
                                                   std::string_view email, std::string_view password);
    /// That try was correct: the person's failures from this place are forgotten.
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
