#include "HttpServer.h"

#include "Connection.h"
#include "ConnectionPool.h"
#include "Credentials.h"
#include "Peer.h"
#include "Protection.h"
#include "RequestReader.h"
#include "Tls.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <optional>
#include <poll.h>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>

using namespace std::chrono_literals;

namespace localservice {

namespace {

constexpr auto handshakeTime = 10s;
constexpr auto headTime = 10s;
constexpr auto bodyTime = 30s;
// Longer than the client's refresh period, so that its polling needs one connection.
constexpr auto keepAliveTime = 75s;
// Two addresses rarely have different ports free, unless somebody sees to it.
constexpr int mostTries = 50;

std::string_view reasonOf(int status)
{
    static constexpr std::pair<int, std::string_view> reasons[]{
        {200, "OK"},
        {303, "See Other"},
        {400, "Bad Request"},
        {401, "Unauthorized"},
        {403, "Forbidden"},
        {404, "Not Found"},
        {405, "Method Not Allowed"},
        {409, "Conflict"},
        {410, "Gone"},
        {411, "Length Required"},
        {413, "Content Too Large"},
        {414, "URI Too Long"},
        {415, "Unsupported Media Type"},
        {417, "Expectation Failed"},
        {421, "Misdirected Request"},
        {422, "Unprocessable Content"},
        {429, "Too Many Requests"},
        {500, "Internal Server Error"},
    };
    const auto* found = std::find_if(std::begin(reasons), std::end(reasons),
                                     [status](const auto& reason) { return reason.first == status; });
    // It may be left out (RFC 9112, section 4).
    return found == std::end(reasons) ? std::string_view{} : found->second;
}

/// The head of a reply. Every one carries the headers that protect it, unless it has its own.
std::string headOf(const Reply& reply, const Request& request, bool isLast)
{
    Headers headers = reply.headers;
    const auto add = [&](std::string_view name, std::string value) {
        const bool there = std::any_of(headers.begin(), headers.end(),
                                       [&](const auto& header) { return isSameName(header.first, name); });
        if (!there)
            headers.emplace_back(name, std::move(value));
    };
    add("Content-Type", "application/xml; charset=utf-8");
    for (auto& [name, value] : protectionHeaders(request.secure, request.header("Host")))
        add(name, std::move(value));
    if (reply.status != 204 && reply.status != 304)
        add("Content-Length", std::to_string(reply.body.size()));
    add("Connection", isLast ? "close" : "keep-alive");
    if (!isLast)
        add("Keep-Alive", "timeout=" + std::to_string(keepAliveTime.count()));
    std::string head = "HTTP/1.1 " + std::to_string(reply.status) + " " + std::string(reasonOf(reply.status)) + "\r\n";
    for (const auto& [name, value] : headers) {
        // A line break would begin a header, or a reply, of somebody else's making.
        if (value.find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos)
            head += name + ": " + value + "\r\n";
    }
    return head + "\r\n";
}

void send(Connection& connection, const Request& request, const Reply& reply, bool isLast)
{
    connection.write(headOf(reply, request, isLast));
    if (request.method != "HEAD" && reply.status != 204 && reply.status != 304)
        connection.write(reply.body);
}

/// A socket that listens, or the error. `port` 0 becomes the one that was free.
tl::expected<int, int> listenOn(const std::string& address, std::uint16_t& port)
{
    sockaddr_storage wanted{};
    const auto length = socketAddress(address, port, wanted);
    if (length == 0)
        return tl::unexpected(EADDRNOTAVAIL);
    const int socket = ::socket(wanted.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (socket < 0)
        return tl::unexpected(errno);
    const int on = 1;
    const int off = 0;
    ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (wanted.ss_family == AF_INET6)
        ::setsockopt(socket, IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off);
    auto* bound = reinterpret_cast<sockaddr*>(&wanted);
    socklen_t boundLength = sizeof wanted;
    if (::bind(socket, bound, length) != 0 || ::listen(socket, 128) != 0 ||
        ::getsockname(socket, bound, &boundLength) != 0) {
        const int error = errno;
        ::close(socket);
        return tl::unexpected(error);
    }
    // The port stands at the same place in the addresses of both versions.
    port = ntohs(reinterpret_cast<const sockaddr_in*>(&wanted)->sin_port);
    return socket;
}

} // namespace

class HttpServer::Listener final
{
public:
    Listener(const HttpServer::Handler& handler, std::shared_ptr<Tls> tls)
        : m_handler(handler), m_tls(std::move(tls)), m_stopEvent(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    {
    }

    ~Listener()
    {
        ::eventfd_write(m_stopEvent, 1);
        if (m_thread.joinable())
            m_thread.join();
        m_pool.reset();
        closeAll(m_sockets);
        ::close(m_stopEvent);
    }

    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    tl::expected<std::uint16_t, std::string> open(const std::vector<std::string>& addresses, std::uint16_t port)
    {
        // Held on to, so that the next try does not get the same port.
        std::vector<int> inVain;
        auto bound = listenOnAll(addresses, port);
        for (int i = 1; !bound && port == 0 && i < mostTries; ++i) {
            inVain.insert(inVain.end(), m_sockets.begin(), m_sockets.end());
            m_sockets.clear();
            bound = listenOnAll(addresses, port);
        }
        closeAll(inVain);
        if (!bound)
            return bound;
        m_pool.emplace([this](int socket, const std::string& peer) { serve(socket, peer); });
        m_thread = std::thread([this] { acceptAll(); });
        return bound;
    }

private:
    tl::expected<std::uint16_t, std::string> listenOnAll(const std::vector<std::string>& addresses, std::uint16_t port)
    {
        for (const auto& address : addresses) {
            const auto socket = listenOn(address, port);
            if (socket) {
                m_sockets.push_back(*socket);
                continue;
            }
            if (!m_sockets.empty() && (socket.error() == EADDRNOTAVAIL || socket.error() == EAFNOSUPPORT))
                continue;
            return tl::unexpected("cannot listen on " + urlHost(address) + ":" + std::to_string(port) + ": " +
                                  std::strerror(socket.error()));
        }
        return port;
    }

    static void closeAll(const std::vector<int>& sockets)
    {
        for (const int socket : sockets)
            ::close(socket);
    }

    void acceptAll()
    {
        std::vector<pollfd> files{{m_stopEvent, POLLIN, 0}};
        for (const int socket : m_sockets)
            files.push_back({socket, POLLIN, 0});
        for (;;) {
            if (::poll(files.data(), files.size(), -1) < 0 && errno != EINTR)
                return;
            if (files[0].revents)
                return;
            // Each in its turn, so that a flood at one keeps nobody from the other.
            for (const int socket : m_sockets)
                acceptOne(socket);
        }
    }

    void acceptOne(int listening)
    {
        sockaddr_storage address{};
        socklen_t length = sizeof address;
        const int socket =
            ::accept4(listening, reinterpret_cast<sockaddr*>(&address), &length, SOCK_CLOEXEC | SOCK_NONBLOCK);
        pollfd stop{m_stopEvent, POLLIN, 0};
        if (socket >= 0)
            m_pool->add(socket, numericAddress(address));
        else if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM)
            ::poll(&stop, 1, 100); // the client stays in the queue, and would wake us again at once
    }

    void serve(int socket, const std::string& peer)
    {
        auto transport = m_tls ? m_tls->over(socket) : Transport::plain(socket);
        if (!transport)
            return;
        Connection connection(socket, m_stopEvent, std::move(transport));
        const auto now = [] { return std::chrono::steady_clock::now(); };
        // Who has just come is not idle, and says soon what is wanted.
        bool isOpen = connection.open(now() + handshakeTime) && connection.receive(now() + headTime);
        while (isOpen) {
            RequestReader reader;
            isOpen = readRequest(connection, reader) && answer(connection, reader, peer) && connection.flush() &&
                     waitForNext(connection, socket);
        }
    }

    /// Reads until a request is complete or refused; false when the client has gone before.
    static bool readRequest(Connection& connection, RequestReader& reader)
    {
        using State = RequestReader::State;
        auto deadline = std::chrono::steady_clock::now() + headTime;
        bool isInBody = false;
        for (;;) {
            const auto state = reader.read(connection.input());
            if (state == State::Complete || state == State::Refused)
                return true;
            if (state == State::Body && !isInBody) {
                isInBody = true;
                deadline = std::chrono::steady_clock::now() + bodyTime;
                if (reader.awaitsContinue())
                    connection.write("HTTP/1.1 100 Continue\r\n\r\n");
            }
            if (!connection.receive(deadline))
                return false;
        }
    }

    /// Answers whether another request may follow.
    bool answer(Connection& connection, RequestReader& reader, const std::string& peer)
    {
        Request& request = reader.request();
        request.secure = m_tls != nullptr;
        request.peer = peer;
        request.user = [&connection] { return connection.user(); };
        const int refusal = reader.refusal();
        Reply reply = refusal ? Reply{refusal} : m_handler(request);
        if (refusal == 405)
            reply.headers.emplace_back("Allow", "GET, HEAD, POST, PUT, DELETE");
        send(connection, request, reply, reader.isLast());
        // The next request may be long in coming, and there are passwords in this one.
        for (auto& [name, value] : request.headers)
            wipe(value);
        wipe(request.body);
        if (refusal || (reader.isLast() && !connection.input().empty()))
            connection.leaveUnread();
        return !reader.isLast();
    }

    bool waitForNext(Connection& connection, int socket)
    {
        if (!m_pool->beginIdle(socket))
            return false;
        const bool isThere = connection.input().empty()
                                 ? connection.receive(std::chrono::steady_clock::now() + keepAliveTime)
                                 : !connection.isStopping();
        m_pool->endIdle(socket);
        return isThere;
    }

    const Handler& m_handler;
    const std::shared_ptr<Tls> m_tls;
    const int m_stopEvent;
    std::vector<int> m_sockets;
    std::optional<ConnectionPool> m_pool;
    std::thread m_thread;
};

HttpServer::HttpServer(Handler handler) : m_handler(std::move(handler)) {}

HttpServer::~HttpServer()
{
    stop();
}

tl::expected<std::uint16_t, std::string> HttpServer::start(const std::vector<std::string>& addresses,
                                                           std::uint16_t port, std::shared_ptr<Tls> tls)
{
    stop();
    auto listener = std::make_unique<Listener>(m_handler, std::move(tls));
    auto bound = listener->open(addresses, port);
    if (bound)
        m_listener = std::move(listener);
    return bound;
}

void HttpServer::stop()
{
    m_listener.reset();
}

} // namespace localservice
