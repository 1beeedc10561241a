#pragma once

#include "Http.h"

#include <cstddef>
#include <string>
#include <string_view>

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

    /// Takes what belongs to the request from the start of `input`; what is left belongs to the next one.
    State read(std::string_view& input);

    /// What is known so far: the head unless the state is Head, the body when it is Complete.
    Request& request() { return m_request; }
    /// The status to answer with, when it was refused.
    int refusal() const { return m_refusal; }
    /// The client sends nothing after it.
    bool isLast() const { return m_isLast; }
    /// The client sends the body when it has been told to (RFC 9110, section 10.1.1).
    bool awaitsContinue() const { return m_awaitsContinue; }

private:
    enum class Part
    {
        RequestLine,
        Fields,
        Data,
        ChunkSize,
        Chunk,
        ChunkEnd,
        Trailers,
        Complete,
        Refused,
    };

    void takeLine(std::string_view& input);
    void takeData(std::string_view& input);
    Part next(std::string_view line);
    Part readRequestLine(std::string_view line);
    Part readField(std::string_view line);
    Part readChunkSize(std::string_view line);
    Part endHead();
    Part refuse(int status);

    Request m_request;
    Part m_part = Part::RequestLine;
    std::string m_line;
    std::size_t m_overhead = 0; // the bytes of all lines
    std::size_t m_rest = 0;     // of the body or the chunk
    int m_refusal = 0;
    bool m_isLast = false;
    bool m_awaitsContinue = false;
};

} // namespace localservice
