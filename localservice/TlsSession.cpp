#include "TlsSession.h"

#include <algorithm>
#include <openssl/err.h>
#include <openssl/ssl.h>

namespace localservice {

namespace {

// Clients renew their keys now and then, between requests.
constexpr int MostSilentMessages = 16;

} // namespace

TlsSession::TlsSession(ssl_ctx_st& settings) : m_session(SSL_new(&settings), SSL_free)
{
    if (!m_session)
        throw std::bad_alloc();
    SSL_set_bio(m_session.get(), BIO_new(BIO_s_mem()), BIO_new(BIO_s_mem()));
    SSL_set_accept_state(m_session.get());
    SSL_set_msg_callback(m_session.get(), countMessage);
    SSL_set_msg_callback_arg(m_session.get(), this);
}

/// Each one costs us more than it costs the client, so a client that sends only these is cut off, and what it has sent
/// of them is dropped.
void TlsSession::countMessage(int isWritten, int, int type, const void*, std::size_t, ssl_st* session, void* self)
{
    if (!isWritten && type == SSL3_RT_HANDSHAKE &&
        ++static_cast<TlsSession*>(self)->m_silentMessages > MostSilentMessages)
        static_cast<void>(BIO_reset(SSL_get_rbio(session)));
}

template <typename Call>
TlsSession::State TlsSession::perform(Call call)
{
    ERR_clear_error();
    const int result = call(m_session.get());
    if (m_silentMessages > MostSilentMessages)
        return State::Failed;
    if (result > 0)
        return State::Done;
    return SSL_get_error(m_session.get(), result) == SSL_ERROR_WANT_READ ? State::WantsInput : State::Failed;
}

void TlsSession::take(std::span<const char> input)
{
    BIO_write(SSL_get_rbio(m_session.get()), input.data(), static_cast<int>(input.size()));
}

std::string_view TlsSession::output() const
{
    char* data = nullptr;
    const long size = BIO_get_mem_data(SSL_get_wbio(m_session.get()), &data);
    return {data, static_cast<std::size_t>(std::max(size, 0L))};
}

void TlsSession::forgetOutput()
{
    static_cast<void>(BIO_reset(SSL_get_wbio(m_session.get())));
}

TlsSession::State TlsSession::shakeHands()
{
    return perform(SSL_do_handshake);
}

TlsSession::State TlsSession::read(std::span<char> into, std::size_t& size)
{
    const auto state = perform([&](SSL* session) { return SSL_read_ex(session, into.data(), into.size(), &size); });
    if (state == State::Done)
        m_silentMessages = 0;
    return state;
}

TlsSession::State TlsSession::write(std::string_view text)
{
    std::size_t written = 0; // all of it, as memory is never full
    return perform([&](SSL* session) { return SSL_write_ex(session, text.data(), text.size(), &written); });
}

void TlsSession::sayGoodbye()
{
    ERR_clear_error();
    SSL_shutdown(m_session.get());
}

} // namespace localservice
