#pragma once

#include "Transport.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace localservice {

/// A client's connection. Everything here ends by a deadline, and at once when the stop event is set, whatever the
/// client does. Small writes are gathered, so that a reply leaves in one segment. One thread; owns neither the socket
/// nor the event.
class Connection final
{
public:
    using Deadline = std::chrono::steady_clock::time_point;

    Connection(int socket, int stopEvent, std::unique_ptr<Transport> transport);
    /// Sends what was written and says good-bye. What the client still sends is taken in for a second: closing with
    /// unread bytes would reset the connection and could take the reply with it.
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Agrees with the client on how to talk.
    bool open(Deadline deadline);

    bool isStopping() const;

    /// What came and was not taken from it yet.
    std::string_view& input() { return m_unread; }
    /// Sends what was written, and waits for more input. What was not taken is dropped.
    bool receive(Deadline deadline);
    /// The client is still sending what nobody will read.
    void leaveUnread() { m_leavesUnread = true; }

    void write(std::string_view text) { m_output += text; }
    /// Sends what was written; false when the client has gone or does not take it.
    bool flush();
    /// The user of this machine whose program is at the other end, where that can be told: looked up until it is.
    std::optional<uid_t> user();

private:
    template <typename Attempt>
    std::optional<std::size_t> complete(Deadline deadline, Attempt attempt);
    bool wait(short events, Deadline deadline);

    const int m_socket;
    const int m_stopEvent;
    const std::unique_ptr<Transport> m_transport;
    std::string m_input;
    std::string_view m_unread;
    std::string m_output;
    std::optional<uid_t> m_user;
    bool m_leavesUnread = false;
    bool m_closed = false;
};

} // namespace localservice
