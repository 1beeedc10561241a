#include "Base64.h"

#include <openssl/bio.h>
#include <openssl/evp.h>

#include <array>
#include <memory>

namespace service {

namespace {

struct FreeChain
{
    void operator()(BIO* chain) const { BIO_free_all(chain); }
};
using Chain = std::unique_ptr<BIO, FreeChain>;

/// A Base64 filter in front of `memory`, which it owns.
Chain base64Filter(BIO* memory, bool newlines)
{
    BIO* filter = BIO_new(BIO_f_base64());
    if (!newlines)
        BIO_set_flags(filter, BIO_FLAGS_BASE64_NO_NL);
    return Chain(BIO_push(filter, memory));
}

} // namespace

QString encodeBase64(const QByteArray& data)
{
    return encodeBase64WithNewlines(data, true);
}

QString encodeBase64WithNewlines(const QByteArray& data, bool newlines)
{
    BIO* memory = BIO_new(BIO_s_mem());
    const Chain chain = base64Filter(memory, newlines);
    BIO_write(chain.get(), data.constData(), static_cast<int>(data.size()));
    BIO_flush(chain.get());
    char* text = nullptr;
    const long length = BIO_get_mem_data(memory, &text);
    QString encoded = QString::fromUtf8(text, length);
    // The filter frees its buffer uncleared, and what is encoded may be a password.
    BIO_write(chain.get(), QByteArray(data.size(), '\0').constData(), static_cast<int>(data.size()));
    BIO_flush(chain.get());
    return encoded;
}

QByteArray decodeBase64(const QString& text)
{
    return decodeBase64WithNewlines(text, true);
}

QByteArray decodeBase64WithNewlines(const QString& text, bool newlines)
{
    const QByteArray bytes = text.toUtf8();
    const Chain chain = base64Filter(BIO_new_mem_buf(bytes.constData(), static_cast<int>(bytes.size())), newlines);
    QByteArray data;
    std::array<char, 512> chunk;
    for (int count = 0; (count = BIO_read(chain.get(), chunk.data(), static_cast<int>(chunk.size()))) > 0;)
        data.append(chunk.data(), count);
    return data;
}

} // namespace service
