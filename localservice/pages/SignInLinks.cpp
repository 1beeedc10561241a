#include "SignInLinks.h"

#include "Credentials.h"

#include <algorithm>
#include <cstdlib>

namespace localservice {

namespace {

constexpr Seconds LongestLife = 60;
// Nobody opens that many pages within a minute.
constexpr std::size_t MostLinks = 100;

} // namespace

std::optional<std::string> SignInLinks::make(Id person, Seconds now)
{
    auto key = randomSecret();
    if (!key)
        return {};
    const std::lock_guard lock(m_mutex);
    m_links.push_back({digestOf("link " + *key), person, now});
    if (m_links.size() > MostLinks)
        m_links.pop_front();
    return key;
}

std::optional<Id> SignInLinks::take(std::string_view key, Seconds now)
{
    const std::string digest = digestOf("link " + std::string(key));
    const std::lock_guard lock(m_mutex);
    // Setting the clock back extends no link.
    std::erase_if(m_links, [now](const Link& link) { return std::abs(now - link.made) > LongestLife; });
    const auto found =
        std::find_if(m_links.begin(), m_links.end(), [&](const Link& link) { return link.digest == digest; });
    if (found == m_links.end())
        return {};
    const Id person = found->person;
    m_links.erase(found);
    return person;
}

} // namespace localservice
