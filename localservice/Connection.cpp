#include "Connection.h"

#include "PeerUser.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

using namespace std::chrono_literals;

namespace localservice {

namespace {

constexpr auto replyTime = 2min;
// A whole record of TLS, so that none is left behind where no wait would notice it.
constexpr std::size_t inputSize = 16 * 1024;

int millisecondsUntil(Connection::Deadline deadline)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 3'600'000));
}

} // namespace

Connection::Connection(int socket, int stopEvent, std::unique_ptr<Transport> transport)
    : m_socket(socket), m_stopEvent(stopEvent), m_transport(std::move(transport))
{
    const int on = 1;
    ::setsockopt(m_socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

Connection::~Connection()
{
    flush();
    m_transport->close();
    ::shutdown(m_socket, SHUT_WR);
    const auto deadline = std::chrono::steady_clock::now() + 1s;
    std::array<char, inputSize> rubbish;
    while (m_leavesUnread && wait(POLLIN, deadline) && ::recv(m_socket, rubbish.data(), rubbish.size(), 0) > 0) {
    }
}

bool Connection::open(Deadline deadline)
{
    return complete(deadline, [this] { return m_transport->open(); }).has_value();
}

bool Connection::isStopping() const
{
    pollfd file{m_stopEvent, POLLIN, 0};
    return ::poll(&file, 1, 0) > 0;
}

bool Connection::receive(Deadline deadline)
{
    // Asked here, too: a client that always has something to say is never waited for.
    if (!flush() || isStopping())
        return false;
    m_input.resize(inputSize);
    const auto count = complete(deadline, [this] { return m_transport->receive(m_input.data(), m_input.size()); });
    m_input.resize(count.value_or(0));
    m_unread = m_input;
    return count.has_value();
}

bool Connection::flush()
{
    const auto deadline = std::chrono::steady_clock::now() + replyTime;
    for (std::string_view rest = m_output; !rest.empty() && !m_closed;) {
        const auto sent = complete(deadline, [&] { return m_transport->send(rest.data(), rest.size()); });
        m_closed = !sent;
        rest.remove_prefix(sent.value_or(0));
    }
    m_output.clear();
    return !m_closed;
}

std::optional<uid_t> Connection::user()
{
    // Whose it is stays the same for as long as our end is open. That it could not be told does not: without a free
    // descriptor, say, the kernel's tables cannot be read, and the next request should not suffer from it.
    if (!m_user)
        m_user = userAtOtherEnd(m_socket);
    return m_user;
}

/// Repeats a step of the transport until it is done; nothing when the client has gone or time is up.
template <typename Attempt>
std::optional<std::size_t> Connection::complete(Deadline deadline, Attempt attempt)
{
    for (;;) {
        const auto step = attempt();
        if (step.outcome == Transport::Outcome::Done)
            return step.bytes;
        const short event = step.outcome == Transport::Outcome::WantsOutput ? POLLOUT : POLLIN;
        if (step.outcome == Transport::Outcome::Closed || !wait(event, deadline))
            return {};
    }
}

/// True when the socket is ready for `events`; false on time-out, on stop and when the peer has gone.
bool Connection::wait(short events, Deadline deadline)
{
    for (;;) {
        std::array<pollfd, 2> files{pollfd{m_socket, events, 0}, pollfd{m_stopEvent, POLLIN, 0}};
        const int left = millisecondsUntil(deadline);
        const int ready = ::poll(files.data(), files.size(), left);
        if (ready < 0 && errno == EINTR)
            continue;
        // Whoever sends without end, but never what is waited for, has no more time than others.
        if (left == 0)
            return false;
        return ready > 0 && !files[1].revents && (files[0].revents & (events | POLLHUP));
    }
}

} // namespace localservice
