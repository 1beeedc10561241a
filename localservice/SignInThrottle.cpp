#include "SignInThrottle.h"

#include "Peer.h"

#include <algorithm>
#include <functional>

using namespace std::chrono_literals;

namespace localservice {

namespace {

constexpr auto Window = 15min;
constexpr std::ptrdiff_t MostForPerson = 10;
constexpr std::ptrdiff_t MostForAddress = 50;
// Limits what strangers can make the service remember.
constexpr std::size_t MostTries = 5000;
constexpr std::size_t MostPlaces = 1000;

} // namespace

SignInThrottle::Place SignInThrottle::placeOf(const std::string& peer, std::optional<uid_t> user,
                                              std::string_view email)
{
    std::string lower(email);
    for (char& sign : lower)
        sign = sign >= 'A' && sign <= 'Z' ? static_cast<char>(sign + 32) : sign;
    return {networkOf(peer), user, std::hash<std::string>{}(lower)};
}

std::optional<std::chrono::seconds> SignInThrottle::tryAgainIn(const std::string& peer, std::optional<uid_t> user,
                                                               std::string_view email, std::string_view password)
{
    const auto now = m_clock();
    const Try next{now, placeOf(peer, user, email), std::hash<std::string_view>{}(password)};
    const std::lock_guard lock(m_mutex);
    // A clock that was set back must not block anyone until it has caught up.
    std::erase_if(m_tries, [now](const Try& old) { return std::chrono::abs(now - old.time) >= Window; });

    const auto forPerson = [&](const Try& old) { return old.place == next.place; };
    const auto atAddress = [&](const Try& old) { return old.place.network == next.place.network; };
    const auto same = [&](const Try& old) { return forPerson(old) && old.password == next.password; };
    const auto wait = [&](const auto& which, std::ptrdiff_t most) -> std::optional<std::chrono::seconds> {
        if (std::count_if(m_tries.begin(), m_tries.end(), which) < most)
            return {};
        const auto oldest = std::find_if(m_tries.begin(), m_tries.end(), which);
        return std::chrono::ceil<std::chrono::seconds>(oldest->time + Window - now);
    };
    if (const auto time = wait(forPerson, MostForPerson))
        return time;
    const bool known = std::find(m_signedIn.begin(), m_signedIn.end(), next.place) != m_signedIn.end();
    if (const auto time = known ? std::nullopt : wait(atAddress, MostForAddress))
        return time;

    if (std::none_of(m_tries.begin(), m_tries.end(), same))
        m_tries.push_back(next);
    if (m_tries.size() > MostTries)
        m_tries.pop_front();
    return {};
}

void SignInThrottle::succeeded(const std::string& peer, std::optional<uid_t> user, std::string_view email)
{
    const Place place = placeOf(peer, user, email);
    const std::lock_guard lock(m_mutex);
    std::erase_if(m_tries, [&](const Try& old) { return old.place == place; });
    if (std::find(m_signedIn.begin(), m_signedIn.end(), place) != m_signedIn.end())
        return;
    m_signedIn.push_back(place);
    if (m_signedIn.size() > MostPlaces)
        m_signedIn.pop_front();
}

} // namespace localservice
