#pragma once

#include <cstddef>
#include <memory>

namespace localservice {

/// Bytes over a connected, non-blocking socket, plain or encrypted. Nothing here waits: a step that cannot go on says
/// what the socket must be ready for before it is tried again. Does not own the socket. One thread at a time.
class Transport
{
public:
    enum class Outcome
    {
        Done,
        WantsInput,
        WantsOutput,
        Closed, ///< by the client, or broken
    };
    struct Step
    {
        Outcome outcome = Outcome::Closed;
        std::size_t bytes = 0;
    };

    /// Bytes as they are.
    static std::unique_ptr<Transport> plain(int socket);

    virtual ~Transport() = default;
    Transport(const Transport&) = delete;
    Transport& operator=(const Transport&) = delete;

    /// Agrees with the client on how to talk.
    virtual Step open() = 0;
    virtual Step receive(char* to, std::size_t size) = 0;
    virtual Step send(const char* from, std::size_t size) = 0;
    /// Says that no more will be sent, if that can be said at once.
    virtual void close() = 0;

protected:
    Transport() = default;
};

} // namespace localservice
