#include "Credentials.h"

#include "Http.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>
#include <tuple>
#include <vector>

namespace localservice {

namespace {

// 16 MB and some 40 ms: not noticeable when the service starts, but costly for guessing.
constexpr std::uint64_t Cost = 1U << 14U;
constexpr std::uint64_t BlockSize = 8;
constexpr std::uint64_t Lanes = 1;
constexpr std::string_view Scheme = "scrypt-14-8-1$";
constexpr std::size_t SaltLength = 16;
constexpr std::size_t HashLength = 32;

std::string hex(const unsigned char* bytes, std::size_t count)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += digits[bytes[i] >> 4U];
        text += digits[bytes[i] & 15U];
    }
    return text;
}

/// Overwrites a buffer when it goes out of scope.
template <typename Buffer>
class Wiped
{
public:
    explicit Wiped(Buffer& buffer) : m_buffer(buffer) {}
    ~Wiped() { OPENSSL_cleanse(m_buffer.data(), m_buffer.size()); }
    Wiped(const Wiped&) = delete;
    Wiped& operator=(const Wiped&) = delete;

private:
    Buffer& m_buffer;
};

bool fillRandom(unsigned char* bytes, std::size_t count)
{
    return RAND_bytes(bytes, static_cast<int>(count)) == 1;
}

std::optional<std::string> hashed(std::string_view password, const std::string& salt)
{
    std::array<unsigned char, HashLength> hash{};
    const auto* saltBytes = reinterpret_cast<const unsigned char*>(salt.data());
    if (EVP_PBE_scrypt(password.data(), password.size(), saltBytes, salt.size(), Cost, BlockSize, Lanes, 0, hash.data(),
                       hash.size()) != 1)
        return {};
    return std::string(Scheme) + salt + "$" + hex(hash.data(), hash.size());
}

} // namespace

std::optional<std::string> randomPassword()
{
    // 32 characters without look-alikes, so that every random byte counts the same.
    constexpr std::string_view signs = "abcdefghijkmnpqrstuvwxyz23456789";
    static_assert(signs.size() == 32);
    std::array<unsigned char, 20> bytes{};
    if (!fillRandom(bytes.data(), bytes.size()))
        return {};
    std::string password;
    for (const auto byte : bytes)
        password += signs[byte % signs.size()];
    return password;
}

std::optional<std::string> randomSecret()
{
    std::array<unsigned char, 32> bytes{};
    if (!fillRandom(bytes.data(), bytes.size()))
        return {};
    return hex(bytes.data(), bytes.size());
}

std::string digestOf(std::string_view text)
{
    std::array<unsigned char, 32> digest{};
    EVP_Digest(text.data(), text.size(), digest.data(), nullptr, EVP_sha256(), nullptr);
    return hex(digest.data(), digest.size());
}

bool isSameSecret(std::string_view one, std::string_view other)
{
    return one.size() == other.size() && CRYPTO_memcmp(one.data(), other.data(), one.size()) == 0;
}

void wipe(std::string& text)
{
    OPENSSL_cleanse(text.data(), text.size());
    text.clear();
}

std::optional<std::string> hashOfPassword(std::string_view password)
{
    std::array<unsigned char, SaltLength> salt{};
    if (!fillRandom(salt.data(), salt.size()))
        return {};
    return hashed(password, hex(salt.data(), salt.size()));
}

std::optional<BasicCredentials> BasicCredentials::fromHeader(std::string_view authorization)
{
    constexpr std::string_view prefix = "Basic ";
    if (!isSameName(authorization.substr(0, prefix.size()), prefix) || authorization.size() > 4096)
        return {};
    std::string encoded(authorization.substr(prefix.size()));
    while (!encoded.empty() && encoded.back() == ' ')
        encoded.pop_back();
    const Wiped wiped(encoded);
    std::vector<unsigned char> decoded(encoded.size() + 4);
    const Wiped wipedBytes(decoded);
    const int length = EVP_DecodeBlock(decoded.data(), reinterpret_cast<const unsigned char*>(encoded.data()),
                                       static_cast<int>(encoded.size()));
    if (length < 0)
        return {};
    std::size_t count = static_cast<std::size_t>(length);
    // The decoder counts the padding as zero bytes.
    for (auto sign = encoded.rbegin(); sign != encoded.rend() && *sign == '=' && count > 0; ++sign)
        --count;
    const std::string_view pair(reinterpret_cast<const char*>(decoded.data()), count);
    const auto colon = pair.find(':');
    if (colon == std::string::npos)
        return {};
    return BasicCredentials(pair.substr(0, colon), pair.substr(colon + 1));
}

BasicCredentials::~BasicCredentials()
{
    // A moved-from string may still hold its characters, where short ones are stored in place.
    password.resize(password.capacity());
    wipe(password);
}

PasswordCheck::PasswordCheck() : m_usable(fillRandom(m_key.data(), m_key.size())) {}

PasswordCheck::Digest PasswordCheck::digestOf(std::string_view password, const std::string& storedHash) const
{
    // The stored hash has a fixed length, so the pair is unambiguous.
    std::string pair;
    pair.reserve(storedHash.size() + password.size());
    pair.append(storedHash).append(password);
    const Wiped wiped(pair);
    Digest digest{};
    HMAC(EVP_sha256(), m_key.data(), static_cast<int>(m_key.size()),
         reinterpret_cast<const unsigned char*>(pair.data()), pair.size(), digest.data(), nullptr);
    return digest;
}

bool PasswordCheck::fits(std::string_view password, const std::string& storedHash)
{
    // With a guessable key, the digests would be as good as passwords.
    if (!m_usable)
        return false;
    const auto digest = digestOf(password, storedHash);
    {
        const std::lock_guard lock(m_mutex);
        const auto known = m_known.find(storedHash);
        if (known != m_known.end() && CRYPTO_memcmp(known->second.data(), digest.data(), digest.size()) == 0)
            return true;
    }
    const auto saltEnd = storedHash.find('$', Scheme.size());
    if (storedHash.compare(0, Scheme.size(), Scheme) != 0 || saltEnd == std::string::npos) {
        fitsNobody(password);
        return false;
    }
    const std::lock_guard hashing(m_hashing);
    const auto actual = hashed(password, storedHash.substr(Scheme.size(), saltEnd - Scheme.size()));
    if (!actual || actual->size() != storedHash.size() ||
        CRYPTO_memcmp(actual->data(), storedHash.data(), actual->size()) != 0)
        return false;
    const std::lock_guard lock(m_mutex);
    if (m_known.size() > 1000)
        m_known.clear();
    m_known[storedHash] = digest;
    return true;
}

void PasswordCheck::fitsNobody(std::string_view password)
{
    const std::lock_guard hashing(m_hashing);
    std::ignore = hashed(password, std::string(2 * SaltLength, '0'));
}

} // namespace localservice
