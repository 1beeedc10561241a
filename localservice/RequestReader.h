#pragma once

#include "Http.h"

#include <cstddef>
#include <memory>
#include <string>

namespace localservice {

/// Reads one HTTP/1.1 request from the bytes of a connection, exactly as RFC 9112 defines it: anything an upstream
/// reader could understand differently is rejected, and so is anything not needed here (folded or oddly ended lines,
/// compressed or unannounced bodies, other transfer codings). Heads are limited to 64 KiB, bodies to 1 MiB; uploads,
/// whose length is announced and which somebody must allow, to 64 MiB.
class RequestReader final
{
public:
    enum class State
    {
        Head,
        Body, ///< the head is known
        Complete,
        Refused, ///< nothing more on this connection can be understood
    };

    RequestReader();
    ~RequestReader(); ///< forgets
    RequestReader(const RequestReader&) = delete;
    RequestReader& operator=(const RequestReader&) = delete;

    /// Takes what is complete from the start of `input`, leaving no copy there; the rest comes again with more after
    /// it, or belongs to the next request.
    State read(std::string& input);

    /// What is known so far: the head unless the state is Head, the body when it is Complete.
    Request& request() { return m_request; }
    /// Overwrites what was read: it may contain a password.
    void forget();
    /// The body is announced as too large for anything but an upload: call `allowUpload` before reading on.
    bool isUpload() const { return m_isUpload; }
    void allowUpload(bool allowed);
    /// The status to reply with when it was rejected.
    int refusal() const { return m_refusal; }
    /// The client sends nothing after it.
    bool isLast() const { return m_isLast; }
    /// The client speaks HTTP/1.0 and knows no replies in chunks.
    bool isOlder() const { return m_isOlder; }
    /// The client waits for a go-ahead before sending the body (RFC 9110, section 10.1.1).
    bool awaitsContinue() const { return m_awaitsContinue; }

private:
    class Parser;

    std::size_t endOfHead(const std::string& input);
    std::size_t readHead(const std::string& input);
    std::size_t readBody(std::string_view input);
    int reasonToRefuse() const;
    void refuse(int status);

    std::unique_ptr<Parser> m_parser;
    Request m_request;
    std::size_t m_line = 0; // where the head's last line begins that has not ended
    std::size_t m_sent = 0; // the bytes of the body, as they were sent
    int m_refusal = 0;
    bool m_isUpload = false;
    bool m_isLast = false;
    bool m_isOlder = false;
    bool m_awaitsContinue = false;
};

} // namespace localservice
