#include "HttpServer.h"

#include "ConnectionPool.h"
#include "Peer.h"
#include "Protection.h"
#include "Tls.h"

#include <httplib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <netinet/tcp.h>
#include <optional>
#include <poll.h>
#include <sys/eventfd.h>

using namespace std::chrono_literals;

namespace localservice {

namespace {

constexpr std::size_t maximumHead = 64 * 1024;
constexpr std::size_t maximumBody = 1024 * 1024;
constexpr auto handshakeTime = 10s;
constexpr auto headTime = 10s;
constexpr auto requestTime = 30s;
constexpr auto replyTime = 2min;
// Longer than the client's refresh period, so that its polling needs one connection.
constexpr auto keepAliveTime = 75s;

using Deadline = std::chrono::steady_clock::time_point;

int millisecondsUntil(Deadline deadline)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 3'600'000));
}

/// One connection. Every wait also listens to the stop event, so that stopping never waits for a client; small writes
/// are gathered, so that a reply leaves in one segment.
class Connection final : public httplib::Stream
{
public:
    Connection(int socket, int stopEvent, std::string peer, std::unique_ptr<Transport> transport)
        : peer(std::move(peer)), m_socket(socket), m_stopEvent(stopEvent), m_transport(std::move(transport))
    {
        const int on = 1;
        ::setsockopt(m_socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }

    ~Connection() override
    {
        flush();
        m_transport->close();
        ::shutdown(m_socket, SHUT_WR);
        // Closing with unread bytes would reset the connection and could take the reply with it.
        if (hasUnreadRequest())
            discardInput(std::chrono::steady_clock::now() + 1s);
    }

    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    bool open()
    {
        const auto deadline = std::chrono::steady_clock::now() + handshakeTime;
        return complete(deadline, [this] { return m_transport->open(); }).has_value();
    }

    bool hasInput() const { return m_position < m_input.size(); }

    /// Waits for the first bytes of a request.
    bool waitForRequest(std::chrono::milliseconds time) { return fill(std::chrono::steady_clock::now() + time); }

    void beginRequest()
    {
        m_head = true;
        m_received = m_input.size() - m_position;
        m_limit = maximumHead;
        m_deadline = std::chrono::steady_clock::now() + headTime;
        m_replyDeadline.reset();
    }

    void beginBody()
    {
        m_head = false;
        m_received = 0;
        // Room for the frames of a chunked body.
        m_limit = 2 * maximumBody;
        m_deadline = std::chrono::steady_clock::now() + requestTime;
    }

    /// The head could not be read, or its body will not be.
    bool hasUnreadRequest() const { return m_head || m_refused; }
    void refuse() { m_refused = true; }
    void close() { m_closed = true; }

    /// Nothing for `pause`; false when the service stops or the client has gone.
    bool idle(std::chrono::milliseconds pause)
    {
        return !wait(POLLRDHUP, std::chrono::steady_clock::now() + pause) && !m_gone;
    }

    bool flush()
    {
        std::string_view rest = m_output;
        while (!rest.empty() && !m_closed) {
            if (!m_replyDeadline)
                m_replyDeadline = std::chrono::steady_clock::now() + replyTime;
            const auto sent = complete(*m_replyDeadline, [&] { return m_transport->send(rest.data(), rest.size()); });
            m_closed = !sent;
            rest.remove_prefix(sent.value_or(0));
        }
        m_output.clear();
        return !m_closed;
    }

    bool is_readable() const override { return !m_closed; }
    bool is_writable() const override { return !m_closed; }

    ssize_t read(char* to, std::size_t size) override
    {
        if (m_position == m_input.size() && !receive())
            return -1;
        const auto count = std::min(size, m_input.size() - m_position);
        std::copy_n(m_input.data() + m_position, count, to);
        m_position += count;
        return static_cast<ssize_t>(count);
    }

    ssize_t write(const char* from, std::size_t size) override
    {
        if (m_closed)
            return -1;
        m_output.append(from, size);
        if (m_output.size() >= maximumHead && !flush())
            return -1;
        return static_cast<ssize_t>(size);
    }
    using Stream::write;

    void get_remote_ip_and_port(std::string&, int&) const override {}
    void get_local_ip_and_port(std::string&, int&) const override {}
    socket_t socket() const override { return m_socket; }

    /// What the client sent with the present request, before the library is shown less of it.
    Headers headers;
    const std::string peer;

private:
    /// Repeats a step of the transport until it is done; nothing when the client has gone or time is up.
    template <typename Attempt>
    std::optional<std::size_t> complete(Deadline deadline, Attempt attempt)
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
    bool wait(short events, Deadline deadline)
    {
        for (;;) {
            std::array<pollfd, 2> files{pollfd{m_socket, events, 0}, pollfd{m_stopEvent, POLLIN, 0}};
            const int left = millisecondsUntil(deadline);
            const int ready = ::poll(files.data(), files.size(), left);
            if (ready < 0 && errno == EINTR)
                continue;
            if (ready > 0 && (files[1].revents || (files[0].revents & (POLLERR | POLLRDHUP | POLLNVAL))))
                m_gone = true;
            // Whoever sends without end, but never what is waited for, has no more time than others.
            if (left == 0)
                return false;
            return ready > 0 && !files[1].revents && (files[0].revents & (events | POLLHUP));
        }
    }

    bool receive()
    {
        // The library reads header lines of any length; this is what bounds them.
        if (m_closed || m_received >= m_limit || !flush())
            return false;
        return fill(m_deadline);
    }

    bool fill(Deadline deadline)
    {
        // Room for a whole record of TLS, so that none is left behind where no wait would notice it.
        m_input.resize(16 * 1024);
        m_position = 0;
        const auto count = complete(deadline, [this] { return m_transport->receive(m_input.data(), m_input.size()); });
        m_input.resize(count.value_or(0));
        m_received += m_input.size();
        return count.has_value();
    }

    void discardInput(Deadline deadline)
    {
        std::array<char, 16 * 1024> rubbish;
        while (wait(POLLIN, deadline)) {
            if (::recv(m_socket, rubbish.data(), rubbish.size(), 0) <= 0)
                return;
        }
    }

    const int m_socket;
    const int m_stopEvent;
    const std::unique_ptr<Transport> m_transport;
    std::string m_input;
    std::size_t m_position = 0;
    std::string m_output;
    std::size_t m_received = 0;
    std::size_t m_limit = maximumHead;
    Deadline m_deadline;
    std::optional<Deadline> m_replyDeadline;
    bool m_head = false;
    bool m_refused = false;
    bool m_closed = false;
    bool m_gone = false;
};

// The library hands a handler the request only; a reply with a fault needs the connection too. A connection stays on
// one thread for its whole life.
thread_local Connection* currentConnection = nullptr;

Headers headersOf(const httplib::Request& from)
{
    Headers headers;
    for (const auto& [name, value] : from.headers) {
        // Added by the library, not sent by the client.
        if (name != "REMOTE_ADDR" && name != "REMOTE_PORT" && name != "LOCAL_ADDR" && name != "LOCAL_PORT")
            headers.emplace_back(name, value);
    }
    return headers;
}

void sendFaulty(Connection& connection, const Reply& reply)
{
    if (reply.fault == Fault::Hang)
        connection.idle(24h);
    if (reply.fault == Fault::Drip || reply.fault == Fault::Cut) {
        std::string head =
            "HTTP/1.1 " + std::to_string(reply.status) + " Scripted\r\nContent-Type: application/xml\r\n";
        for (const auto& [name, value] : reply.headers)
            head += name + ": " + value + "\r\n";
        connection.write(head + "Content-Length: " + std::to_string(reply.body.size()) + "\r\n\r\n");
        bool there = connection.flush();
        if (reply.fault == Fault::Cut)
            connection.write(reply.body.substr(0, reply.body.size() / 2));
        for (std::size_t i = 0; there && reply.fault == Fault::Drip && i < reply.body.size(); ++i) {
            connection.write(reply.body.data() + i, 1);
            there = connection.flush() && connection.idle(reply.pause);
        }
        connection.flush();
    }
    connection.close();
}

void send(const Reply& reply, httplib::Response& response)
{
    std::string type = "application/xml; charset=utf-8";
    response.status = reply.status;
    for (const auto& [name, value] : reply.headers) {
        if (name == "Content-Type")
            type = value;
        else
            response.set_header(name, value);
    }
    response.set_content(reply.body, type);
}

} // namespace

class HttpServer::Listener final : public httplib::Server
{
public:
    Listener(const HttpServer::Handler& handler, std::shared_ptr<Tls> tls)
        : m_tls(std::move(tls)), m_stopEvent(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    {
        set_keep_alive_timeout(keepAliveTime.count());
        set_keep_alive_max_count(1000);
        set_payload_max_length(maximumBody);
        set_pre_routing_handler(
            [](const httplib::Request& request, httplib::Response& response) { return refuse(request, response); });
        const bool secure = m_tls != nullptr;
        // Called for every answer, those that the library gives by itself too.
        set_post_routing_handler([secure](const httplib::Request& request, httplib::Response& response) {
            for (const auto& [name, value] : protectionHeaders(secure, request.get_header_value("Host"))) {
                if (!response.has_header(name.c_str()))
                    response.set_header(name.c_str(), value);
            }
        });
        const auto answer = [&handler, secure](const httplib::Request& request, httplib::Response& response) {
            const Reply reply = handler({request.method, request.target, currentConnection->headers, request.body,
                                         secure, currentConnection->peer, currentConnection->socket()});
            if (reply.fault == Fault::None)
                send(reply, response);
            else
                sendFaulty(*currentConnection, reply);
        };
        Get("/", answer).Post("/", answer).Put("/", answer).Delete("/", answer).Patch("/", answer).Options("/", answer);
    }

    ~Listener() override
    {
        ::eventfd_write(m_stopEvent, 1);
        if (m_thread.joinable())
            m_thread.join();
        m_pool.reset();
        if (m_socket >= 0)
            ::close(m_socket);
        ::close(m_stopEvent);
    }

    tl::expected<std::uint16_t, std::string> open(const std::string& address, std::uint16_t port)
    {
        sockaddr_storage wanted{};
        const auto length = socketAddress(address, port, wanted);
        const int on = 1;
        const int off = 0;
        errno = EADDRNOTAVAIL;
        m_socket = length ? ::socket(wanted.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0) : -1;
        ::setsockopt(m_socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        if (wanted.ss_family == AF_INET6)
            ::setsockopt(m_socket, IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off);
        auto* bound = reinterpret_cast<sockaddr*>(&wanted);
        socklen_t boundLength = sizeof wanted;
        if (m_socket < 0 || ::bind(m_socket, bound, length) != 0 || ::listen(m_socket, 128) != 0 ||
            ::getsockname(m_socket, bound, &boundLength) != 0)
            return tl::unexpected("cannot listen on " + urlHost(address) + ":" + std::to_string(port) + ": " +
                                  std::strerror(errno));
        m_pool.emplace([this](int socket, const std::string& peer) { serve(socket, peer); });
        m_thread = std::thread([this] { acceptAll(); });
        // The port stands at the same place in the addresses of both versions.
        return ntohs(reinterpret_cast<const sockaddr_in*>(&wanted)->sin_port);
    }

private:
    static HandlerResponse refuse(const httplib::Request& request, httplib::Response& response)
    {
        const auto lengthText = request.get_header_value("Content-Length");
        const auto length = std::strtoull(lengthText.c_str(), nullptr, 10);
        const bool mayHaveBody = request.method == "POST" || request.method == "PUT" || request.method == "PATCH";
        // What two readers could understand in two ways.
        const auto count = [&](const char* name) { return request.get_header_value_count(name); };
        const bool twofold =
            count("Content-Length") + count("Transfer-Encoding") > 1 || count("Host") > 1 ||
            lengthText.find_first_not_of("0123456789") != std::string::npos ||
            (request.has_header("Transfer-Encoding") && request.get_header_value("Transfer-Encoding") != "chunked");
        if (request.has_header("Content-Encoding"))
            response.status = 415;
        else if (twofold)
            response.status = 400;
        else if (request.method == "TRACE" || request.method == "CONNECT" || request.method == "PRI") {
            response.status = 405;
            response.set_header("Allow", "GET, HEAD, POST, PUT, DELETE");
        } else if (length > maximumBody)
            response.status = 413;
        else if (mayHaveBody && lengthText.empty() && !request.has_header("Transfer-Encoding"))
            response.status = 411;
        else if (!mayHaveBody && request.method != "DELETE" && (length > 0 || request.has_header("Transfer-Encoding")))
            response.status = 400;
        else
            return HandlerResponse::Unhandled;
        // The body stays unread, so nothing on this connection can be understood any more.
        currentConnection->refuse();
        response.set_header("Connection", "close");
        return HandlerResponse::Handled;
    }

    void acceptAll()
    {
        for (;;) {
            std::array<pollfd, 2> files{pollfd{m_socket, POLLIN, 0}, pollfd{m_stopEvent, POLLIN, 0}};
            if (::poll(files.data(), files.size(), -1) < 0 && errno != EINTR)
                return;
            if (files[1].revents)
                return;
            sockaddr_storage address{};
            socklen_t length = sizeof address;
            const int socket =
                ::accept4(m_socket, reinterpret_cast<sockaddr*>(&address), &length, SOCK_CLOEXEC | SOCK_NONBLOCK);
            if (socket >= 0)
                m_pool->add(socket, numericAddress(address));
            else if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM)
                ::poll(&files[1], 1, 100); // the client stays in the queue, and would wake us again at once
        }
    }

    void serve(int socket, const std::string& peer)
    {
        auto transport = m_tls ? m_tls->over(socket) : Transport::plain(socket);
        if (!transport)
            return;
        Connection connection(socket, m_stopEvent, peer, std::move(transport));
        currentConnection = &connection;
        // Who has just come is not idle, and says soon what is wanted.
        bool open = connection.open() && connection.waitForRequest(headTime);
        const auto waitForNext = [&] {
            if (connection.hasInput())
                return true;
            if (!m_pool->beginIdle(socket))
                return false;
            const bool there = connection.waitForRequest(keepAliveTime);
            m_pool->endIdle(socket);
            return there;
        };
        while (open) {
            connection.beginRequest();
            bool closed = false;
            const bool understood = process_request(connection, false, closed, [&](httplib::Request& request) {
                connection.beginBody();
                connection.headers = headersOf(request);
                // Every path goes to one handler: no pattern is matched against what a stranger sent. Bodies are
                // taken as they are, never as forms; replies are neither compressed nor cut in ranges.
                request.path = "/";
                request.headers.erase("Content-Type");
                request.headers.erase("Accept-Encoding");
                request.ranges.clear();
                closed = request.get_header_value("Connection") == "close";
            });
            // What follows a request that was not understood would be taken for another one.
            open = understood && !closed && !connection.hasUnreadRequest() && connection.flush() && waitForNext();
        }
        currentConnection = nullptr;
    }

    const std::shared_ptr<Tls> m_tls;
    const int m_stopEvent;
    int m_socket = -1;
    std::optional<ConnectionPool> m_pool;
    std::thread m_thread;
};

HttpServer::HttpServer(Handler handler) : m_handler(std::move(handler)) {}

HttpServer::~HttpServer()
{
    stop();
}

tl::expected<std::uint16_t, std::string> HttpServer::start(const std::string& address, std::uint16_t port,
                                                           std::shared_ptr<Tls> tls)
{
    stop();
    auto listener = std::make_unique<Listener>(m_handler, std::move(tls));
    auto bound = listener->open(address, port);
    if (bound)
        m_listener = std::move(listener);
    return bound;
}

void HttpServer::stop()
{
    m_listener.reset();
}

} // namespace localservice
