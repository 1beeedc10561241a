#include "HttpServer.h"

#include <httplib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/tcp.h>
#include <optional>
#include <poll.h>
#include <sys/eventfd.h>

using namespace std::chrono_literals;

namespace localservice {

namespace {

constexpr std::size_t maximumHead = 64 * 1024;
constexpr std::size_t maximumBody = 1024 * 1024;
constexpr auto requestTime = 30s;
// Longer than the client's refresh period, so that its polling needs one connection.
constexpr auto keepAliveTime = 75s;
constexpr std::size_t maximumConnections = 64;

using Deadline = std::chrono::steady_clock::time_point;

int millisecondsUntil(Deadline deadline)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 3'600'000));
}

/// One accepted socket. Every wait also listens to the stop event, so that stopping never waits for a client; small
/// writes are gathered, so that a reply leaves in one segment.
class Connection final : public httplib::Stream
{
public:
    Connection(int socket, int stopEvent) : m_socket(socket), m_stopEvent(stopEvent)
    {
        const int on = 1;
        ::setsockopt(m_socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        ::fcntl(m_socket, F_SETFD, FD_CLOEXEC);
        ::fcntl(m_socket, F_SETFL, ::fcntl(m_socket, F_GETFL) | O_NONBLOCK);
    }

    ~Connection() override
    {
        flush();
        ::shutdown(m_socket, SHUT_WR);
        // Closing with unread bytes would reset the connection and could take the reply with it.
        if (hasUnreadRequest())
            discardInput(std::chrono::steady_clock::now() + 1s);
        ::close(m_socket);
    }

    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    bool waitForRequest()
    {
        return m_position < m_input.size() || wait(POLLIN, std::chrono::steady_clock::now() + keepAliveTime);
    }

    void beginRequest()
    {
        m_head = true;
        m_received = 0;
        m_limit = maximumHead;
        m_deadline = std::chrono::steady_clock::now() + requestTime;
    }

    void beginBody()
    {
        m_head = false;
        m_received = 0;
        // Room for the frames of a chunked body.
        m_limit = 2 * maximumBody;
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
            const auto sent = ::send(m_socket, rest.data(), rest.size(), MSG_NOSIGNAL);
            if (sent > 0)
                rest.remove_prefix(static_cast<std::size_t>(sent));
            else if (errno == EAGAIN || errno == EWOULDBLOCK)
                m_closed = !wait(POLLOUT, std::chrono::steady_clock::now() + requestTime);
            else if (errno != EINTR)
                m_closed = true;
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

    /// The client's address in numbers.
    std::string peer() const
    {
        sockaddr_storage address{};
        socklen_t length = sizeof address;
        std::array<char, NI_MAXHOST> text{};
        if (::getpeername(m_socket, reinterpret_cast<sockaddr*>(&address), &length) != 0 ||
            ::getnameinfo(reinterpret_cast<sockaddr*>(&address), length, text.data(), text.size(), nullptr, 0,
                          NI_NUMERICHOST) != 0)
            return {};
        // A socket for both versions of IP shows addresses of the fourth in the clothes of the sixth.
        constexpr std::string_view mapped = "::ffff:";
        const std::string_view numeric(text.data());
        return std::string(numeric.starts_with(mapped) ? numeric.substr(mapped.size()) : numeric);
    }

    void get_remote_ip_and_port(std::string&, int&) const override {}
    void get_local_ip_and_port(std::string&, int&) const override {}
    socket_t socket() const override { return m_socket; }

    /// What the client sent with the present request, before the library is shown less of it.
    Headers headers;

private:
    /// True when the socket is ready for `events`; false on time-out, on stop and when the peer has gone.
    bool wait(short events, Deadline deadline)
    {
        for (;;) {
            std::array<pollfd, 2> files{pollfd{m_socket, events, 0}, pollfd{m_stopEvent, POLLIN, 0}};
            const int ready = ::poll(files.data(), files.size(), millisecondsUntil(deadline));
            if (ready < 0 && errno == EINTR)
                continue;
            if (ready > 0 && (files[1].revents || (files[0].revents & (POLLERR | POLLRDHUP | POLLNVAL))))
                m_gone = true;
            return ready > 0 && !files[1].revents && (files[0].revents & (events | POLLHUP));
        }
    }

    bool receive()
    {
        // The library reads header lines of any length; this is what bounds them.
        if (m_closed || m_received >= m_limit || !flush())
            return false;
        m_input.resize(16 * 1024);
        m_position = 0;
        for (;;) {
            const auto count = ::recv(m_socket, m_input.data(), m_input.size(), 0);
            if (count > 0) {
                m_input.resize(static_cast<std::size_t>(count));
                m_received += m_input.size();
                return true;
            }
            const bool empty = count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
            const bool again = count < 0 && errno == EINTR;
            if (again || (empty && wait(POLLIN, m_deadline)))
                continue;
            m_input.clear();
            return false;
        }
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
    std::string m_input;
    std::size_t m_position = 0;
    std::string m_output;
    std::size_t m_received = 0;
    std::size_t m_limit = maximumHead;
    Deadline m_deadline;
    bool m_head = false;
    bool m_refused = false;
    bool m_closed = false;
    bool m_gone = false;
};

/// Threads are made when no idle one is left, up to a limit: an unused service costs none.
class GrowingPool final : public httplib::TaskQueue
{
public:
    void enqueue(std::function<void()> job) override
    {
        const std::lock_guard lock(m_mutex);
        m_jobs.push_back(std::move(job));
        if (m_jobs.size() > m_idle && m_threads.size() < maximumConnections)
            m_threads.emplace_back([this] { work(); });
        m_changed.notify_one();
    }

    void shutdown() override
    {
        {
            const std::lock_guard lock(m_mutex);
            m_shutdown = true;
        }
        m_changed.notify_all();
        for (auto& thread : m_threads)
            thread.join();
    }

private:
    void work()
    {
        std::unique_lock lock(m_mutex);
        for (;;) {
            ++m_idle;
            m_changed.wait(lock, [this] { return m_shutdown || !m_jobs.empty(); });
            --m_idle;
            if (m_jobs.empty())
                return;
            auto job = std::move(m_jobs.front());
            m_jobs.pop_front();
            lock.unlock();
            job();
            lock.lock();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::list<std::function<void()>> m_jobs;
    std::vector<std::thread> m_threads;
    std::size_t m_idle = 0;
    bool m_shutdown = false;
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

std::string hostForUrl(const std::string& address)
{
    return address.find(':') == std::string::npos ? address : "[" + address + "]";
}

} // namespace

class HttpServer::Listener final : public httplib::Server
{
public:
    explicit Listener(const HttpServer::Handler& handler) : m_stopEvent(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    {
        new_task_queue = [] { return new GrowingPool; };
        set_keep_alive_timeout(keepAliveTime.count());
        set_keep_alive_max_count(1000);
        set_payload_max_length(maximumBody);
        // The library's default also shares the port with any other program that asks for it.
        set_socket_options([](socket_t socket) {
            const int on = 1;
            ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        });
        set_pre_routing_handler(
            [](const httplib::Request& request, httplib::Response& response) { return refuse(request, response); });
        const auto answer = [&handler](const httplib::Request& request, httplib::Response& response) {
            const Reply reply = handler({request.method, request.target, currentConnection->headers, request.body,
                                         false, currentConnection->peer()});
            if (reply.fault == Fault::None)
                send(reply, response);
            else
                sendFaulty(*currentConnection, reply);
        };
        Get("/", answer).Post("/", answer).Put("/", answer).Delete("/", answer).Patch("/", answer).Options("/", answer);
    }

    ~Listener() override { ::close(m_stopEvent); }

    tl::expected<std::uint16_t, std::string> open(const std::string& address, std::uint16_t port)
    {
        errno = 0;
        const int bound = port == 0 ? bind_to_any_port(address) : bind_to_port(address, port) ? port : -1;
        if (bound <= 0) {
            const std::string why = errno ? std::strerror(errno) : "address not available";
            return tl::unexpected("cannot listen on " + hostForUrl(address) + ":" + std::to_string(port) + ": " + why);
        }
        // The library's queue of five loses connections of a burst for a second.
        ::listen(svr_sock_, 128);
        m_thread = std::thread([this] { listen_after_bind(); });
        return static_cast<std::uint16_t>(bound);
    }

    void shut()
    {
        if (!m_thread.joinable())
            return;
        ::eventfd_write(m_stopEvent, 1);
        // Stopping has no effect before the thread has entered its loop.
        while (!is_running())
            std::this_thread::yield();
        Server::stop();
        m_thread.join();
    }

private:
    static HandlerResponse refuse(const httplib::Request& request, httplib::Response& response)
    {
        const auto lengthText = request.get_header_value("Content-Length");
        const auto length = std::strtoull(lengthText.c_str(), nullptr, 10);
        const bool mayHaveBody = request.method == "POST" || request.method == "PUT" || request.method == "PATCH";
        if (request.has_header("Content-Encoding"))
            response.status = 415;
        else if (length > maximumBody)
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

    bool process_and_close_socket(socket_t socket) override
    {
        Connection connection(socket, m_stopEvent);
        currentConnection = &connection;
        bool open = true;
        while (open && connection.waitForRequest()) {
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
            open = understood && !closed && !connection.hasUnreadRequest() && connection.flush();
        }
        currentConnection = nullptr;
        return true;
    }

    const int m_stopEvent;
    std::thread m_thread;
};

HttpServer::HttpServer(Handler handler) : m_handler(std::move(handler)) {}

HttpServer::~HttpServer()
{
    stop();
}

tl::expected<std::uint16_t, std::string> HttpServer::start(const std::string& address, std::uint16_t port)
{
    stop();
    auto listener = std::make_unique<Listener>(m_handler);
    auto bound = listener->open(address, port);
    if (bound)
        m_listener = std::move(listener);
    return bound;
}

void HttpServer::stop()
{
    if (m_listener)
        m_listener->shut();
    m_listener.reset();
}

} // namespace localservice
