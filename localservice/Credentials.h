#pragma once

#include <array>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace localservice {

/// 20 random letters and digits, easy to type, from the system's secure generator; nothing when that fails.
std::optional<std::string> randomPassword();

/// 256 random bits in hexadecimal, for programs to carry; nothing when the system's generator fails.
std::optional<std::string> randomSecret();

/// The SHA-256 digest of a secret too random to guess, in hexadecimal: what is stored of such secrets.
std::string digestOf(std::string_view text);

/// Compares two secrets in a time that does not depend on where they differ.
bool isSameSecret(std::string_view one, std::string_view other);

/// Overwrites and empties a string that could be used to sign in.
void wipe(std::string& text);

/// What is stored instead of a password: a salted scrypt hash (RFC 7914) with its parameters. Nothing when random
/// numbers or memory are lacking.
std::optional<std::string> hashOfPassword(std::string_view password);

/// Email and password of a Basic authorization header (RFC 7617).
struct BasicCredentials
{
    BasicCredentials(std::string_view mail, std::string_view secret) : email(mail), password(secret) {}
    BasicCredentials(BasicCredentials&&) = default;
    BasicCredentials& operator=(BasicCredentials&&) = delete;
    ~BasicCredentials(); ///< overwrites the password

    std::string email;
    std::string password;

    static std::optional<BasicCredentials> fromHeader(std::string_view authorization);
};

/// Checks passwords against stored hashes. The slow hash is computed once for each correct password; after that a keyed
/// digest of the pair, in memory only, answers. A changed hash matches no digest. Thread-safe.
class PasswordCheck final
{
public:
    PasswordCheck();

    bool fits(std::string_view password, const std::string& storedHash);
    /// Takes as long as a check that fails. Done for unknown people, or the time would reveal who is known.
    void fitsNobody(std::string_view password);

private:
    using Digest = std::array<unsigned char, 32>;
    Digest digestOf(std::string_view password, const std::string& storedHash) const;

    Digest m_key{};
    bool m_usable;
    std::mutex m_mutex;
    // One scrypt at a time: each takes 16 MB, and anyone can trigger any number of them.
    std::mutex m_hashing;
    std::map<std::string, Digest> m_known;
};

} // namespace localservice
