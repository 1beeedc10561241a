#include "Tls.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <strings.h>

namespace localservice {

namespace {

template <auto function>
struct FreeBy
{
    template <typename T>
    void operator()(T* object) const
    {
        function(object);
    }
};
using Key = std::unique_ptr<EVP_PKEY, FreeBy<EVP_PKEY_free>>;
using Names = std::unique_ptr<GENERAL_NAMES, FreeBy<GENERAL_NAMES_free>>;
using File = std::unique_ptr<std::FILE, FreeBy<std::fclose>>;

/// The library's last word on a failure.
std::string reason()
{
    const char* text = ERR_reason_error_string(ERR_peek_last_error());
    return text ? text : "unknown error";
}

std::string dayOf(const ASN1_TIME* time)
{
    std::tm parts{};
    std::array<char, 32> text{};
    if (ASN1_TIME_to_tm(time, &parts) != 1 || std::strftime(text.data(), text.size(), "%Y-%m-%d", &parts) == 0)
        return "an unknown day";
    return text.data();
}

tl::expected<Key, std::string> readKey(const std::string& path)
{
    const File file(std::fopen(path.c_str(), "re"));
    if (!file)
        return tl::unexpected("cannot read " + path + ": " + std::strerror(errno));
    bool locked = false;
    // Instead of the library's default, which prompts at the terminal.
    const auto askNobody = [](char*, int, int, void* where) {
        *static_cast<bool*>(where) = true;
        return -1;
    };
    Key key(PEM_read_PrivateKey(file.get(), nullptr, askNobody, &locked));
    if (!key)
        return tl::unexpected(
            path + (locked ? " has a passphrase: the service needs a key without one" : " holds no PEM key"));
    return key;
}

} // namespace

tl::expected<Tls::Context, std::string> Tls::read(const TlsFiles& files)
{
    const Context context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
    if (!context)
        return tl::unexpected("TLS is not available: " + reason());
    SSL_CTX* settings = context.get();
    SSL_CTX_set_min_proto_version(settings, TLS1_2_VERSION);
    // Those of TLS 1.2 that have forward secrecy and authenticated encryption; TLS 1.3 has no others.
    SSL_CTX_set_cipher_list(settings, "ECDHE+AESGCM:ECDHE+CHACHA20");
    // Sessions are not resumed: the secrets of a ticket would decrypt the traffic of all that had one.
    // A client that ends without a good-bye cuts nothing short: HTTP says how long everything is.
    SSL_CTX_set_options(settings, SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_TICKET | SSL_OP_IGNORE_UNEXPECTED_EOF);
    SSL_CTX_set_session_cache_mode(settings, SSL_SESS_CACHE_OFF);
    SSL_CTX_set_num_tickets(settings, 0);
    SSL_CTX_set_mode(settings, SSL_MODE_RELEASE_BUFFERS); // most connections are idle

    if (const File file(std::fopen(files.certificate.c_str(), "re")); !file)
        return tl::unexpected("cannot read " + files.certificate + ": " + std::strerror(errno));
    ERR_clear_error();
    if (SSL_CTX_use_certificate_chain_file(settings, files.certificate.c_str()) != 1)
        return tl::unexpected(files.certificate + (ERR_GET_LIB(ERR_peek_error()) == ERR_LIB_PEM
                                                       ? " holds no PEM certificate"
                                                       : " cannot be used: " + reason()));
    const X509* certificate = SSL_CTX_get0_certificate(settings);
    if (X509_cmp_current_time(X509_get0_notAfter(certificate)) < 0)
        return tl::unexpected("the certificate in " + files.certificate + " ended on " +
                              dayOf(X509_get0_notAfter(certificate)));
    if (X509_cmp_current_time(X509_get0_notBefore(certificate)) > 0)
        return tl::unexpected("the certificate in " + files.certificate + " begins on " +
                              dayOf(X509_get0_notBefore(certificate)));

    const auto key = readKey(files.key);
    if (!key)
        return tl::unexpected(key.error());
    if (SSL_CTX_use_PrivateKey(settings, key->get()) != 1)
        return tl::unexpected("the key in " + files.key + " does not belong to the certificate in " +
                              files.certificate);
    return context;
}

tl::expected<std::unique_ptr<Tls>, std::string> Tls::open(TlsFiles files)
{
    auto context = read(files);
    if (!context)
        return tl::unexpected(context.error());
    return std::unique_ptr<Tls>(new Tls(std::move(files), std::move(*context)));
}

tl::expected<void, std::string> Tls::reload()
{
    auto context = read(m_files);
    if (!context)
        return tl::unexpected(context.error());
    const std::lock_guard lock(m_mutex);
    m_context = std::move(*context);
    return {};
}

std::optional<std::string> Tls::hostOf(const std::string& account) const
{
    const std::lock_guard lock(m_mutex);
    const X509* certificate = SSL_CTX_get0_certificate(m_context.get());
    const Names names(
        static_cast<GENERAL_NAMES*>(X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)));
    for (int i = 0; i < sk_GENERAL_NAME_num(names.get()); ++i) {
        const GENERAL_NAME* name = sk_GENERAL_NAME_value(names.get(), i);
        if (name->type != GEN_DNS)
            continue;
        const std::string text(reinterpret_cast<const char*>(ASN1_STRING_get0_data(name->d.dNSName)),
                               static_cast<std::size_t>(ASN1_STRING_length(name->d.dNSName)));
        const auto label = text.substr(0, text.find('.'));
        if (label == "*" || strcasecmp(label.c_str(), account.c_str()) == 0)
            return account + text.substr(label.size());
    }
    return {};
}

std::shared_ptr<ssl_ctx_st> Tls::context() const
{
    const std::lock_guard lock(m_mutex);
    return m_context;
}

} // namespace localservice
