#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string_view>

struct ssl_st;
struct ssl_ctx_st;

namespace localservice {

/// The service's end of one TLS connection, in memory: somebody else moves the bytes. One thread at a time.
class TlsSession final
{
public:
    enum class State
    {
        Done,
        WantsInput, ///< to be repeated when the client has sent more
        Failed      ///< TLS has ended, for whatever reason; there may still be output
    };

    explicit TlsSession(ssl_ctx_st& settings);

    /// Takes in what the client has sent.
    void take(std::span<const char> input);
    /// What is to be sent to the client; valid until the next call.
    std::string_view output() const;
    void forgetOutput();

    /// Costs a millisecond or so of the processor.
    State shakeHands();
    /// Reads up to that many bytes, at least one when done. `size` is how many.
    State read(std::span<char> into, std::size_t& size);
    /// Makes output of at most `LongestPiece` bytes.
    State write(std::string_view text);
    void sayGoodbye();

    static constexpr std::size_t LongestPiece = std::size_t{16} * 1024; ///< what one record holds

private:
    template <typename Call>
    State perform(Call call);
    static void countMessage(int isWritten, int version, int type, const void*, std::size_t, ssl_st*, void* session);

    const std::unique_ptr<ssl_st, void (*)(ssl_st*)> m_session;
    int m_silentMessages = 0; ///< of the handshake kind, since the last data
};

} // namespace localservice
