#include "Base64.h"

#include <openssl/bio.h>
#include <openssl/evp.h>

#include <array>
#include <memory>
#include <type_traits>

#include <dlfcn.h>

namespace service {

namespace {

#define QUILLON_STRING(text) #text
#define QUILLON_STRING_OF(macro) QUILLON_STRING(macro)
constexpr const char* FileName = "libcrypto.so." QUILLON_STRING_OF(OPENSSL_SHLIB_VERSION);

// clang-format off
#define QUILLON_BIO_FUNCTIONS(each)                                                                                    \
    each(new) each(new_mem_buf) each(f_base64) each(s_mem) each(set_flags) each(push) each(write) each(read)           \
    each(ctrl) each(free_all)
// clang-format on

/// The functions of libcrypto that are used, without their prefix. Loaded on first use, like the HTTP library, which
/// brings it along: with the program it would take a twentieth of the start.
struct Crypto
{
    Crypto()
    {
        // Never closed, like the HTTP library.
        void* const file = dlopen(FileName, RTLD_LAZY | RTLD_LOCAL);
        const auto find = [&](auto& function, const char* name) {
            function =
                file ? reinterpret_cast<std::remove_reference_t<decltype(function)>>(dlsym(file, name)) : nullptr;
            isComplete = isComplete && function;
        };
#define QUILLON_BIO_FIND(name) find(bio_##name, "BIO_" #name);
        QUILLON_BIO_FUNCTIONS(QUILLON_BIO_FIND)
#undef QUILLON_BIO_FIND
    }

    bool isComplete = true;
// NOLINTNEXTLINE(bugprone-macro-parentheses): a name that is declared stands alone
#define QUILLON_BIO_MEMBER(name) decltype(&BIO_##name) bio_##name = nullptr;
    QUILLON_BIO_FUNCTIONS(QUILLON_BIO_MEMBER)
#undef QUILLON_BIO_MEMBER
};

const Crypto& crypto()
{
    static const Crypto library;
    return library;
}

struct FreeChain
{
    void operator()(BIO* chain) const { crypto().bio_free_all(chain); }
};
using Chain = std::unique_ptr<BIO, FreeChain>;

/// A Base64 filter in front of `memory`, which it owns.
Chain base64Filter(BIO* memory, bool newlines)
{
    BIO* filter = crypto().bio_new(crypto().bio_f_base64());
    if (!newlines)
        crypto().bio_set_flags(filter, BIO_FLAGS_BASE64_NO_NL);
    return Chain(crypto().bio_push(filter, memory));
}

} // namespace

QString encodeBase64(const QByteArray& data)
{
    return encodeBase64WithNewlines(data, true);
}

QString encodeBase64WithNewlines(const QByteArray& data, bool newlines)
{
    if (!crypto().isComplete)
        return {};
    BIO* memory = crypto().bio_new(crypto().bio_s_mem());
    const Chain chain = base64Filter(memory, newlines);
    const auto write = [&chain](const QByteArray& bytes) {
        crypto().bio_write(chain.get(), bytes.constData(), static_cast<int>(bytes.size()));
        crypto().bio_ctrl(chain.get(), BIO_CTRL_FLUSH, 0, nullptr);
    };
    write(data);
    char* text = nullptr;
    const long length = crypto().bio_ctrl(memory, BIO_CTRL_INFO, 0, &text);
    QString encoded = QString::fromUtf8(text, length);
    // The filter frees its buffer uncleared, and what is encoded may be a password.
    write(QByteArray(data.size(), '\0'));
    return encoded;
}

QByteArray decodeBase64(const QString& text)
{
    return decodeBase64WithNewlines(text, true);
}

QByteArray decodeBase64WithNewlines(const QString& text, bool newlines)
{
    if (!crypto().isComplete)
        return {};
    const QByteArray bytes = text.toUtf8();
    const Chain chain =
        base64Filter(crypto().bio_new_mem_buf(bytes.constData(), static_cast<int>(bytes.size())), newlines);
    QByteArray data;
    std::array<char, 512> chunk;
    for (int count = 0; (count = crypto().bio_read(chain.get(), chunk.data(), static_cast<int>(chunk.size()))) > 0;)
        data.append(chunk.data(), count);
    return data;
}

} // namespace service
