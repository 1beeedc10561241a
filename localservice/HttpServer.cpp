// Clang has coroutines, but not all of its versions say so, and Boost does not know of it.
#ifdef __clang__
#ifndef __cpp_impl_coroutine
#define __cpp_impl_coroutine 201902L // NOLINT(bugprone-reserved-identifier): the compiler's own
#endif
#define BOOST_ASIO_HAS_CO_AWAIT 1
#define BOOST_ASIO_HAS_STD_COROUTINE 1
#endif

#include "HttpServer.h"

#include "Credentials.h"
#include "Peer.h"
#include "PeerUser.h"
#include "Protection.h"
#include "RequestReader.h"
#include "Tls.h"
#include "TlsSession.h"

#include <utility>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/thread_pool.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/http/status.hpp>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <list>
#include <map>
#include <openssl/crypto.h>
#include <optional>
#include <span>
#include <string_view>
#include <sys/resource.h>
#include <sys/socket.h>
#include <thread>

using namespace std::chrono_literals;

namespace localservice {

namespace {

namespace net = boost::asio;
using boost::system::error_code;
using Tcp = net::ip::tcp;
using Clock = net::steady_timer::clock_type;
template <typename T = void>
using Task = net::awaitable<T>;

constexpr auto GoodbyeTime = 1s;
// Ports that are free on one address and taken on the other are rare, unless somebody arranges them.
constexpr int MostTries = 50;
// A network may take one place in so many at the cost of others.
constexpr std::size_t FairShare = 64;
constexpr int HandlerThreads = 4;
constexpr int MostAtOnce = 16; // newcomers, before those who are there have their turn
constexpr int MostWorkersForNetwork = 3;
constexpr int MostWorkersForHandshakes = 2;
constexpr std::size_t PieceSize = 4096;

/// Completes an operation within a coroutine, with its error in `error`.
auto into(error_code& error)
{
    return net::redirect_error(net::use_awaitable, error);
}

/// The clients of one network.
struct Network
{
    std::size_t clients = 0;
    int workers = 0; ///< that are busy for it
};

struct Client;

/// All clients, and what they share. On the loop's thread.
struct Everybody
{
    HttpServer::Limits limits;
    std::list<Client*> clients; ///< those who have waited longest first
    std::map<std::string, Network> networks;
    net::io_context loop{1}; // last: what it still holds belongs to clients
};

/// One connection. On the loop's thread, but for what a worker is busy with.
struct Client : std::enable_shared_from_this<Client>
{
    Client(Everybody& others, const Tcp::endpoint& end);
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    /// The connection ends unless the step that begins now is over within `time`, whatever arrives meanwhile.
    void allow(std::chrono::milliseconds time);
    /// Ends every wait, now and from now on.
    void end();

    Everybody& all;
    Tcp::socket socket;
    net::steady_timer deadline;
    net::steady_timer turn; ///< waits for a worker
    const std::string peer;
    const std::map<std::string, Network>::iterator network;
    const std::list<Client*>::iterator place;
    std::optional<uid_t> user; ///< of this machine, whose program is at the other end, once known
    bool isGreeting = false;   ///< in the handshake of TLS
    bool hasTurn = false;      ///< a worker is busy for it, or will be
    bool isEnding = false;
};

/// An address of version 4 that a socket for both versions has accepted is shown as such.
std::string numericAddress(const net::ip::address& address)
{
    if (address.is_v4())
        return address.to_string();
    auto six = address.to_v6();
    six.scope_id(0);
    return six.is_v4_mapped() ? net::ip::make_address_v4(net::ip::v4_mapped, six).to_string() : six.to_string();
}

Client::Client(Everybody& others, const Tcp::endpoint& end)
    : all(others), socket(all.loop), deadline(all.loop), turn(all.loop), peer(numericAddress(end.address())),
      network(all.networks.try_emplace(networkOf(peer)).first), place(all.clients.insert(all.clients.end(), this))
{
    ++network->second.clients;
}

Client::~Client()
{
    all.clients.erase(place);
    if (--network->second.clients == 0)
        all.networks.erase(network);
}

void Client::allow(std::chrono::milliseconds time)
{
    all.clients.splice(all.clients.end(), all.clients, place);
    deadline.expires_after(time);
    deadline.async_wait([self = weak_from_this()](const error_code&) {
        const auto client = self.lock();
        if (client && client->deadline.expiry() <= Clock::now())
            client->end();
    });
}

void Client::end()
{
    isEnding = true;
    turn.cancel();
    error_code ignored; // it may have ended by itself
    if (hasTurn)
        socket.shutdown(Tcp::socket::shutdown_both, ignored); // its descriptor may be in use by the worker
    else
        socket.close(ignored);
}

/// A part of a reply whose length was not announced; the empty one ends it.
std::string chunk(std::string_view piece)
{
    std::array<char, 2 * sizeof piece.size()> size{};
    const auto end = std::to_chars(size.data(), size.data() + size.size(), piece.size(), 16).ptr;
    return std::string(size.data(), end).append("\r\n").append(piece).append("\r\n");
}

/// A reply as it is sent; of one in pieces, head and first piece. Every one carries the headers that protect it, unless
/// it has its own.
std::string textOf(const Reply& reply, const Request& request, bool isInChunks,
                   std::optional<std::chrono::milliseconds> keptFor)
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
    const bool mayHaveBody = reply.status != 204 && reply.status != 304;
    if (isInChunks)
        add("Transfer-Encoding", "chunked");
    else if (mayHaveBody && !reply.rest)
        add("Content-Length", std::to_string(reply.body.size()));
    add("Connection", keptFor ? "keep-alive" : "close");
    if (keptFor)
        add("Keep-Alive", "timeout=" + std::to_string(keptFor->count() / 1000));
    const auto reason = boost::beast::http::obsolete_reason(boost::beast::http::int_to_status(unsigned(reply.status)));
    std::string text = "HTTP/1.1 " + std::to_string(reply.status) + " " + std::string(reason) + "\r\n";
    for (const auto& [name, value] : headers) {
        // A line break would let its author begin a header or a reply.
        if (value.find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos)
            text.append(name).append(": ").append(value).append("\r\n");
    }
    text += "\r\n";
    if (mayHaveBody && request.method != "HEAD")
        text += isInChunks && !reply.body.empty() ? chunk(reply.body) : reply.body;
    return text;
}

/// The bytes of a connection as they are on the wire.
class Plain
{
public:
    explicit Plain(Tcp::socket& socket) : m_socket(socket) {}

    /// How many bytes came; 0 when the client has gone or its time is over.
    Task<std::size_t> receive(std::span<char> into)
    {
        error_code error;
        co_return co_await m_socket.async_read_some(net::buffer(into.data(), into.size()), localservice::into(error));
    }
    /// False when the client has gone or its time is over.
    Task<bool> send(std::string_view text)
    {
        error_code error;
        co_await net::async_write(m_socket, net::buffer(text), into(error));
        co_return !error;
    }
    static Task<> sayGoodbye() { co_return; }

private:
    Tcp::socket& m_socket;
};

/// The same with TLS.
class Encrypted
{
public:
    using State = TlsSession::State;

    Encrypted(Tcp::socket& socket, ssl_ctx_st& settings) : m_wire(socket), m_tls(settings) {}

    Task<std::size_t> receive(std::span<char> into)
    {
        for (;;) {
            std::size_t size = 0;
            const auto state = m_tls.read(into, size);
            if (!co_await sendOutput() || state == State::Failed)
                co_return 0;
            if (state == State::Done)
                co_return size;
            if (!co_await takeInput())
                co_return 0;
        }
    }
    Task<bool> send(std::string_view text)
    {
        bool isThere = true;
        for (; isThere && !text.empty(); text.remove_prefix(std::min(text.size(), TlsSession::LongestPiece)))
            isThere = m_tls.write(text.substr(0, TlsSession::LongestPiece)) == State::Done && co_await sendOutput();
        co_return isThere;
    }
    Task<> sayGoodbye()
    {
        m_tls.sayGoodbye();
        co_await sendOutput();
    }

    Task<bool> takeInput()
    {
        std::array<char, PieceSize> piece;
        const std::size_t size = co_await m_wire.receive(piece);
        m_tls.take(std::span(piece).first(size));
        co_return size > 0;
    }
    Task<bool> sendOutput()
    {
        if (m_tls.output().empty())
            co_return true;
        const bool isSent = co_await m_wire.send(m_tls.output());
        m_tls.forgetOutput();
        co_return isSent;
    }
    State shakeHands() { return m_tls.shakeHands(); }

private:
    Plain m_wire;
    TlsSession m_tls;
};

/// Adds what comes next to `input`; false when the client has gone or its time is over.
template <typename Stream>
Task<bool> receive(Stream& stream, std::string& input)
{
    std::array<char, PieceSize> piece; // there are passwords in it
    const std::size_t size = co_await stream.receive(piece);
    if (input.capacity() - input.size() < size) {
        std::string larger; // growing in place would leave the old contents in memory
        larger.reserve(2 * input.size() + size);
        larger.append(input);
        wipe(input);
        input = std::move(larger);
    }
    input.append(piece.data(), size);
    OPENSSL_cleanse(piece.data(), size);
    co_return size > 0;
}

template <typename Stream>
Task<bool> send(Client& client, Stream& stream, std::string text)
{
    client.allow(client.all.limits.reply);
    co_return co_await stream.send(text);
}

/// Reads until a request is complete or refused, and asks before it takes an upload; false when the client has gone
/// before.
template <typename Stream>
Task<bool> receiveRequest(Client& client, Stream& stream, std::string& input, RequestReader& reader,
                          const std::function<Task<bool>()>& mayUpload)
{
    using State = RequestReader::State;
    client.allow(client.all.limits.head);
    bool isInBody = false;
    for (bool isThere = true; isThere;) {
        const auto state = reader.read(input);
        if (state == State::Complete || state == State::Refused)
            co_return true;
        if (state == State::Body && !isInBody) {
            isInBody = true;
            if (reader.isUpload()) {
                reader.allowUpload(co_await mayUpload());
                if (reader.refusal() != 0)
                    co_return true;
            }
            if (reader.awaitsContinue())
                isThere = co_await send(client, stream, "HTTP/1.1 100 Continue\r\n\r\n");
            client.allow(reader.isUpload() ? client.all.limits.upload : client.all.limits.body);
        }
        if (isThere)
            isThere = co_await receive(stream, input);
    }
    co_return false;
}

/// What a client still sends is taken in: closing with unread bytes would reset the connection and could take the reply
/// with it.
Task<> takeRubbish(Client& client)
{
    std::array<char, PieceSize> rubbish;
    error_code error;
    client.socket.shutdown(Tcp::socket::shutdown_send, error);
    while (!error)
        co_await client.socket.async_read_some(net::buffer(rubbish), into(error));
}

/// Opens `acceptor` at that endpoint. Child processes do not inherit it.
error_code listenAt(Tcp::acceptor& acceptor, const Tcp::endpoint& end)
{
    error_code error;
    const int socket = ::socket(end.protocol().family(), SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (socket < 0)
        return {errno, boost::system::system_category()};
    acceptor.assign(end.protocol(), socket, error);
    acceptor.native_non_blocking(true, error);
    acceptor.set_option(Tcp::acceptor::reuse_address(true), error);
    if (end.address().is_v6())
        acceptor.set_option(net::ip::v6_only(false), error);
    if (!acceptor.bind(end, error))
        acceptor.listen(net::socket_base::max_listen_connections, error);
    return error;
}

} // namespace

/// One run of the server: the loop that serves all connections, and the workers that answer requests.
class HttpServer::Listener final
{
public:
    Listener(const HttpServer& server, std::shared_ptr<Tls> tls)
        : m_handler(server.m_handler), m_admission(server.m_admission), m_tls(std::move(tls))
    {
        m_all.limits = server.m_limits;
        // The rest is for the data file, and for the program that the service comes with.
        rlimit descriptors{};
        if (::getrlimit(RLIMIT_NOFILE, &descriptors) == 0)
            m_all.limits.clients = std::min<rlim_t>(m_all.limits.clients, descriptors.rlim_cur / 4 * 3);
    }

    ~Listener()
    {
        net::post(m_all.loop, [this] {
            m_isStopping = true;
            m_acceptors.clear();
            for (auto* client : m_all.clients)
                client->end();
        });
        if (m_thread.joinable())
            m_thread.join();
    }

    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    tl::expected<std::uint16_t, std::string> open(const std::vector<std::string>& addresses, std::uint16_t port)
    {
        // Kept open, so that the next try gets another port.
        std::vector<std::vector<Tcp::acceptor>> inVain;
        auto bound = listenOnAll(addresses, port);
        for (int i = 1; !bound && port == 0 && i < MostTries; ++i) {
            inVain.push_back(std::exchange(m_acceptors, {}));
            bound = listenOnAll(addresses, port);
        }
        if (!bound) {
            m_acceptors.clear();
            return bound;
        }
        for (auto& acceptor : m_acceptors)
            net::co_spawn(m_all.loop, accept(acceptor), net::detached);
        m_thread = std::thread([this] { m_all.loop.run(); });
        return bound;
    }

private:
    tl::expected<std::uint16_t, std::string> listenOnAll(const std::vector<std::string>& addresses, std::uint16_t port)
    {
        for (const auto& address : addresses) {
            error_code error;
            Tcp::acceptor acceptor(m_all.loop);
            const Tcp::endpoint end(net::ip::make_address(address, error), port);
            if (!error)
                error = listenAt(acceptor, end);
            if (!error) {
                port = acceptor.local_endpoint(error).port();
                m_acceptors.push_back(std::move(acceptor));
            } else if (m_acceptors.empty() || (error.value() != EADDRNOTAVAIL && error.value() != EAFNOSUPPORT)) {
                return tl::unexpected("cannot listen on " + urlHost(address) + ":" + std::to_string(port) + ": " +
                                      error.message());
            }
        }
        return port;
    }

    Task<> accept(Tcp::acceptor& acceptor)
    {
        net::steady_timer pause(m_all.loop);
        error_code error;
        while (!m_isStopping) {
            co_await acceptor.async_wait(Tcp::acceptor::wait_read, into(error));
            for (int i = 0; i < MostAtOnce && !m_isStopping; ++i) {
                Tcp::endpoint end;
                auto length = static_cast<socklen_t>(end.capacity());
                const int socket =
                    ::accept4(acceptor.native_handle(), end.data(), &length, SOCK_CLOEXEC | SOCK_NONBLOCK);
                if (socket < 0) {
                    if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
                        // The client stays in the queue, and would wake us again at once.
                        pause.expires_after(100ms);
                        co_await pause.async_wait(into(error));
                    }
                    break;
                }
                try {
                    admit(socket, end);
                } catch (const std::exception&) {
                    break; // those who come later may find memory
                }
            }
        }
    }

    void admit(int socket, const Tcp::endpoint& end)
    {
        const auto client = std::make_shared<Client>(m_all, end);
        error_code error;
        client->socket.assign(end.protocol(), socket, error);
        if (error)
            ::close(socket);
        else if (makeRoom(client->network))
            net::co_spawn(m_all.loop, serve(client), net::detached);
    }

    /// Whether there is a place for a newcomer from that network. If all are taken, the client that has waited longest
    /// makes way: one from the largest network, or from the newcomer's own if that already has its share.
    bool makeRoom(std::map<std::string, Network>::iterator network)
    {
        if (m_all.clients.size() <= m_all.limits.clients)
            return true;
        if (network->second.clients <= std::max<std::size_t>(1, m_all.limits.clients / FairShare))
            network =
                std::max_element(m_all.networks.begin(), m_all.networks.end(), [](const auto& one, const auto& other) {
                    return one.second.clients < other.second.clients;
                });
        const auto longest = std::find_if(m_all.clients.begin(), m_all.clients.end(), [&](const Client* client) {
            return client->network == network && client->socket.is_open() && !client->hasTurn && !client->isEnding;
        });
        if (longest == m_all.clients.end())
            return false;
        (*longest)->end();
        return true;
    }

    Task<> serve(std::shared_ptr<Client> client)
    {
        error_code error;
        client->socket.set_option(Tcp::no_delay(true), error);
        if (!m_tls) {
            Plain stream(client->socket);
            co_await converse(*client, stream);
            co_return;
        }
        // Until the client says something, there is nothing to keep for it.
        client->allow(m_all.limits.handshake);
        co_await client->socket.async_wait(Tcp::socket::wait_read, into(error));
        if (error)
            co_return;
        const auto settings = m_tls->context();
        Encrypted stream(client->socket, *settings);
        if (co_await shakeHands(*client, stream))
            co_await converse(*client, stream);
    }

    /// The loop moves the bytes, and workers compute: a flood of handshakes makes nobody wait who is through with his.
    Task<bool> shakeHands(Client& client, Encrypted& stream)
    {
        using State = Encrypted::State;
        client.isGreeting = true;
        const std::function<State()> step = [&] { return stream.shakeHands(); };
        std::optional<State> state = State::WantsInput;
        while (state == State::WantsInput) {
            if (!co_await stream.takeInput())
                co_return false;
            state = co_await work(client, step);
            if (!co_await stream.sendOutput())
                co_return false;
        }
        client.isGreeting = false;
        co_return state == State::Done;
    }

    /// All requests of a connection, one after the other.
    template <typename Stream>
    Task<> converse(Client& client, Stream& stream)
    {
        std::string input;
        // A new client is not idle: its request should come soon.
        client.allow(m_all.limits.head);
        for (bool goesOn = true; goesOn;) {
            if (input.empty())
                goesOn = co_await receive(stream, input);
            RequestReader reader;
            if (goesOn)
                goesOn = co_await receiveRequest(client, stream, input, reader,
                                                 [&]() -> Task<bool> { return mayUpload(client, reader.request()); });
            if (!goesOn)
                break;
            goesOn = co_await answer(client, stream, reader);
            if (!goesOn && !client.isEnding) {
                client.allow(GoodbyeTime);
                co_await takeRubbish(client);
            }
            client.allow(m_all.limits.idle);
        }
        wipe(input);
    }

    /// What is known of its sender.
    void complete(Request& request, Client& client) const
    {
        request.secure = m_tls != nullptr;
        request.peer = client.peer;
        request.user = [&client, socket = client.socket.native_handle()] {
            // Never changes while our end is open, so it is remembered once known. A failure is not remembered: without
            // a free descriptor, for example, the kernel's tables cannot be read, but the next request may succeed.
            return client.user ? client.user : client.user = userAtOtherEnd(socket);
        };
    }

    Task<bool> mayUpload(Client& client, Request& request)
    {
        if (!m_admission)
            co_return false;
        complete(request, client);
        const std::function<bool()> ask = [&] { return m_admission(request); };
        co_return (co_await work(client, ask)).value_or(false);
    }

    /// Whether another request may follow.
    template <typename Stream>
    Task<bool> answer(Client& client, Stream& stream, RequestReader& reader)
    {
        Request& request = reader.request();
        complete(request, client);
        Reply reply{reader.refusal()};
        const std::function<Reply()> handle = [&] { return m_handler(request); };
        if (reader.refusal() == 0) {
            auto made = co_await work(client, handle);
            reply = made ? std::move(*made) : Reply{500};
        } else if (reader.refusal() == 405) {
            reply.headers.emplace_back("Allow", "GET, HEAD, POST, PUT, DELETE");
        }
        const bool isInChunks = reply.rest && !reader.isOlder();
        auto text =
            textOf(reply, request, isInChunks, reader.isLast() ? std::nullopt : std::optional(m_all.limits.idle));
        const auto rest = request.method == "HEAD" ? nullptr : std::move(reply.rest);
        reader.forget(); // the client may take long to read the reply
        reply = {};
        bool isSent = co_await send(client, stream, std::move(text));
        for (bool isMore = isSent && rest; isMore;) {
            const auto made = co_await work(client, rest);
            const bool isThere = made && *made;
            isMore = isThere && !(*made)->empty();
            // A name and no more in the call: compilers get the lifetime of anything else wrong there.
            std::string piece = !isThere ? std::string() : isInChunks ? chunk(**made) : **made;
            isSent = isThere && co_await send(client, stream, std::move(piece));
            isMore = isMore && isSent;
        }
        if (isSent && reader.isLast()) {
            client.allow(GoodbyeTime);
            co_await stream.sayGoodbye();
        }
        co_return isSent && !reader.isLast();
    }

    /// Has a worker do the job; no result when it threw or the connection ended before.
    template <typename Result>
    Task<std::optional<Result>> work(Client& client, const std::function<Result()>& job)
    {
        error_code ignored; // a cancelled wait is how a client is woken up
        // All steps of a handshake share one.
        if (!client.isGreeting)
            client.deadline.expires_at(Clock::time_point::max());
        client.turn.expires_at(Clock::time_point::max());
        m_waiting.push_back(&client);
        giveTurns();
        std::optional<Result> result;
        try {
            while (!client.hasTurn && !client.isEnding)
                co_await client.turn.async_wait(into(ignored));
            // Once the connection has ended, its descriptor may belong to another one.
            if (!client.isEnding)
                result = co_await net::co_spawn(
                    m_workers, [&]() -> Task<Result> { co_return job(); }, net::use_awaitable);
        } catch (...) {
            result.reset(); // one failing request must not cost the others a worker
        }
        if (!client.hasTurn) {
            m_waiting.remove(&client);
        } else {
            --m_busyWorkers;
            --client.network->second.workers;
            m_busyWithHandshakes -= client.isGreeting ? 1 : 0;
            client.hasTurn = false;
            giveTurns();
        }
        co_return result;
    }

    /// Workers go to the networks that have the fewest, the longest wait first. No network gets all of them, and
    /// handshakes do not either, so slow requests from one network do not make the others wait.
    void giveTurns()
    {
        while (m_busyWorkers < HandlerThreads) {
            Client* next = nullptr;
            for (Client* client : m_waiting) {
                const bool mayBe = client->network->second.workers < MostWorkersForNetwork &&
                                   !(client->isGreeting && m_busyWithHandshakes == MostWorkersForHandshakes);
                if (mayBe && (!next || client->network->second.workers < next->network->second.workers))
                    next = client;
            }
            if (!next)
                return;
            ++m_busyWorkers;
            ++next->network->second.workers;
            m_busyWithHandshakes += next->isGreeting ? 1 : 0;
            next->hasTurn = true;
            next->turn.cancel();
            m_waiting.remove(next);
        }
    }

    const HttpServer::Handler& m_handler;
    const HttpServer::Admission& m_admission;
    const std::shared_ptr<Tls> m_tls;
    Everybody m_all;
    std::list<Client*> m_waiting; // for a worker
    int m_busyWorkers = 0;
    int m_busyWithHandshakes = 0; // of them
    bool m_isStopping = false;
    net::thread_pool m_workers{HandlerThreads};
    std::vector<Tcp::acceptor> m_acceptors;
    std::thread m_thread;
};

HttpServer::HttpServer(Handler handler, Limits limits, Admission admission)
    : m_handler(std::move(handler)), m_limits(limits), m_admission(std::move(admission))
{
}

HttpServer::~HttpServer()
{
    stop();
}

tl::expected<std::uint16_t, std::string> HttpServer::start(const std::vector<std::string>& addresses,
                                                           std::uint16_t port, std::shared_ptr<Tls> tls)
{
    const std::lock_guard lock(m_mutex);
    m_listener.reset();
    auto listener = std::make_unique<Listener>(*this, std::move(tls));
    auto bound = listener->open(addresses, port);
    if (bound)
        m_listener = std::move(listener);
    return bound;
}

void HttpServer::stop()
{
    const std::lock_guard lock(m_mutex);
    m_listener.reset();
}

} // namespace localservice
