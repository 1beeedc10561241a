#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <tl/expected.hpp>

struct ssl_ctx_st;

namespace localservice {

/// The files with which the service proves its identity.
struct TlsFiles
{
    std::string certificate; ///< PEM, with the certificates that lead to the authority behind it
    std::string key;         ///< PEM, without a passphrase
};

/// The service's side of TLS 1.2 and 1.3. Nothing of a session outlives its connection. Thread-safe.
class Tls final
{
public:
    /// Reads the files, or says in one sentence what is wrong with them: unreadable, not matching, expired.
    static tl::expected<std::unique_ptr<Tls>, std::string> open(TlsFiles files);

    /// Reads the files again, for new connections. When they are unusable, the old ones stay in use.
    tl::expected<void, std::string> reload();

    /// The name in the certificate that fits an account: one that begins with it, or a wildcard.
    std::optional<std::string> hostOf(const std::string& account) const;

    /// What new connections are made from: OpenSSL's SSL_CTX.
    std::shared_ptr<ssl_ctx_st> context() const;

private:
    using Context = std::shared_ptr<ssl_ctx_st>;
    Tls(TlsFiles files, Context context) : m_files(std::move(files)), m_context(std::move(context)) {}
    static tl::expected<Context, std::string> read(const TlsFiles& files);

    const TlsFiles m_files;
    mutable std::mutex m_mutex;
    Context m_context;
};

} // namespace localservice
