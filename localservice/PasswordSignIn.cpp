#include "PasswordSignIn.h"

#include "Storage.h"

namespace localservice {

tl::expected<Person, PasswordSignIn::Refusal> PasswordSignIn::person(const Request& request, const std::string& email,
                                                                     const std::string& password)
{
    // Over TLS most come from elsewhere.
    const auto user = request.secure || !request.user ? std::nullopt : request.user();
    if (const auto wait = m_throttle.tryAgainIn(request.peer, user, email, password))
        return tl::unexpected(Refusal{wait});
    auto found = m_storage.look([&](SQLite::Database& database) -> tl::expected<std::optional<Person>, Problem> {
        return personByEmail(database, email, request.subdomain());
    });
    if (!found)
        return tl::unexpected(Refusal{.problem = std::move(found.error())});
    const bool known = found->has_value();
    if (!known)
        m_passwords.fitsNobody(password);
    if (!known || !m_passwords.fits(password, (*found)->passwordHash))
        return tl::unexpected(Refusal{});
    m_throttle.succeeded(request.peer, user, email);
    return std::move(**found);
}

} // namespace localservice
