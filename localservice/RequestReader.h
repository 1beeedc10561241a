#pragma once

#include "Http.h"

#include <cstddef>
#include <memory>
#include <string>

namespace localservice {

/// Reads one request of HTTP/1.1 from the bytes of a connection, exactly as RFC 9112 writes it: what a reader before us
/// could understand in another way is refused, as is all that has no place here (lines folded or ended in other ways,
/// bodies that are compressed or not announced, other transfer codings). Heads are limited to 64 KiB, bodies to 1 MiB.
class RequestReader final
{
public:
    enum class State
    {
        Head,
        Body, ///< the head is known
        Complete,
        Refused, ///< nothing on this connection can be understood any more
    };

    RequestReader();
    ~RequestReader(); ///< forgets
    RequestReader(const RequestReader&) = delete;
    RequestReader& operator=(const RequestReader&) = delete;

    /// Takes what is complete from the start of `input`, leaving no copy there; what is left comes again with more
    /// behind it, or belongs to the next request.
    State read(std::string& input);

    /// What is known so far: the head unless the state is Head, the body when it is Complete.
    Request& request() { return m_request; }
    /// Overwrites what was read: there may be a password in it.
    void forget();
    /// The status to answer with, when it was refused.
    int refusal() const { return m_refusal; }
    /// The client sends nothing after it.
    bool isLast() const { return m_isLast; }
    /// The client sends the body when it has been told to (RFC 9110, section 10.1.1).
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
    bool m_isLast = false;
    bool m_awaitsContinue = false;
};

} // namespace localservice
