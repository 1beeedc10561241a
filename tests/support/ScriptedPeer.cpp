#include "ScriptedPeer.h"

#include <array>
#include <memory>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace support {

namespace {

/// Takes a whole request from `input`, and the bytes it came in; nothing while some of it is missing.
std::optional<std::pair<Request, std::string>> takeRequest(std::string& input)
{
    const auto end = input.find("\r\n\r\n");
    if (end == std::string::npos)
        return {};
    Request request;
    const auto space = input.find(' ');
    request.method = input.substr(0, space);
    request.target = input.substr(space + 1, input.find(' ', space + 1) - space - 1);
    for (auto line = input.find("\r\n"); line < end;) {
        const auto next = input.find("\r\n", line + 2);
        const auto colon = input.find(':', line);
        const auto value = input.find_first_not_of(' ', colon + 1);
        request.headers.emplace_back(input.substr(line + 2, colon - line - 2), input.substr(value, next - value));
        line = next;
    }
    const std::string length = request.header("Content-Length");
    const std::size_t size = length.empty() ? 0 : std::stoul(length);
    if (input.size() < end + 4 + size)
        return {};
    request.body = input.substr(end + 4, size);
    std::string raw = input.substr(0, end + 4 + size);
    input.erase(0, raw.size());
    return std::pair(std::move(request), std::move(raw));
}

std::string headOf(const Reply& reply)
{
    std::string head = "HTTP/1.1 " + std::to_string(reply.status) + " \r\n";
    bool hasType = false;
    for (const auto& [name, value] : reply.headers) {
        head += name + ": " + value + "\r\n";
        hasType |= name == "Content-Type";
    }
    if (!hasType)
        head += "Content-Type: application/xml; charset=utf-8\r\n";
    return head + "Content-Length: " + std::to_string(reply.body.size()) + "\r\n\r\n";
}

sockaddr_in loopback(std::uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

} // namespace

/// Blocks when it sends or receives, until the peer stops.
class ScriptedPeer::Socket final
{
public:
    Socket(ScriptedPeer& peer, int socket) : m_peer(peer), m_socket(socket)
    {
        const std::lock_guard lock(m_peer.m_mutex);
        m_peer.m_sockets.insert(m_socket);
        if (m_peer.m_isStopping)
            ::shutdown(m_socket, SHUT_RDWR);
    }
    ~Socket()
    {
        const std::lock_guard lock(m_peer.m_mutex);
        m_peer.m_sockets.erase(m_socket);
        ::close(m_socket);
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    int file() const { return m_socket; }
    bool connect(std::uint16_t port)
    {
        const sockaddr_in address = loopback(port);
        return ::connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }
    /// Appends what has come; false at the end.
    bool receive(std::string& input)
    {
        std::array<char, 16 * 1024> bytes;
        const auto count = ::recv(m_socket, bytes.data(), bytes.size(), 0);
        input.append(bytes.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
        return count > 0;
    }
    bool send(std::string_view bytes)
    {
        while (!bytes.empty()) {
            const auto count = ::send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (count <= 0)
                return false;
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
        return true;
    }

private:
    ScriptedPeer& m_peer;
    const int m_socket;
};

std::string Request::header(std::string_view name) const
{
    const auto wanted = QByteArrayView(name.data(), qsizetype(name.size()));
    for (const auto& [key, value] : headers) {
        if (wanted.compare(QByteArrayView(key.data(), qsizetype(key.size())), Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

ScriptedPeer::ScriptedPeer(std::uint16_t service) : m_service(service)
{
    const int listening = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = loopback(0);
    auto* bound = reinterpret_cast<sockaddr*>(&address);
    socklen_t length = sizeof address;
    if (::bind(listening, bound, length) != 0 || ::listen(listening, 128) != 0 ||
        ::getsockname(listening, bound, &length) != 0)
        qFatal("no port for the scripted peer");
    m_port = ntohs(address.sin_port);
    m_accepting = std::thread([this, own = std::make_shared<Socket>(*this, listening)] {
        for (;;) {
            const int client = ::accept4(own->file(), nullptr, nullptr, SOCK_CLOEXEC);
            if (client < 0)
                return;
            m_connections.emplace_back([this, client] {
                Socket socket(*this, client);
                serve(socket);
            });
        }
    });
}

QByteArray ScriptedPeer::url(const QByteArray& target, const QByteArray& host) const
{
    return "http://" + host + ':' + QByteArray::number(m_port) + target;
}

void ScriptedPeer::answer(const std::string& request, std::vector<Reply> replies)
{
    const std::lock_guard lock(m_mutex);
    auto& queue = m_scripts[request];
    queue.insert(queue.end(), std::move_iterator(replies.begin()), std::move_iterator(replies.end()));
}

void ScriptedPeer::release()
{
    const std::lock_guard lock(m_mutex);
    ++m_releases;
    m_changed.notify_all();
}

std::vector<Request> ScriptedPeer::requests() const
{
    const std::lock_guard lock(m_mutex);
    return m_requests;
}

QStringList ScriptedPeer::asked() const
{
    QStringList all;
    for (const Request& request : requests())
        all << QString::fromStdString(request.method + ' ' + request.target);
    return all;
}

void ScriptedPeer::forgetRequests()
{
    const std::lock_guard lock(m_mutex);
    m_requests.clear();
}

void ScriptedPeer::stop()
{
    {
        const std::lock_guard lock(m_mutex);
        m_isStopping = true;
        for (const int socket : m_sockets)
            ::shutdown(socket, SHUT_RDWR);
        m_changed.notify_all();
    }
    if (m_accepting.joinable())
        m_accepting.join();
    for (std::thread& connection : std::exchange(m_connections, {}))
        connection.join();
}

/// Passes bytes on until one side ends.
void ScriptedPeer::serve(Socket& client)
{
    std::optional<Socket> service;
    std::string fromClient;
    std::string fromService;
    for (;;) {
        std::array<pollfd, 2> files{pollfd{client.file(), POLLIN, 0},
                                    pollfd{service ? service->file() : -1, POLLIN, 0}};
        ::poll(files.data(), files.size(), -1);
        if (files[1].revents && !(service->receive(fromService) && client.send(fromService)))
            return;
        fromService.clear();
        if (files[0].revents && !client.receive(fromClient))
            return;
        while (const auto request = takeRequest(fromClient)) {
            auto reply = scripted(request->first);
            if (!reply && m_service == 0)
                reply = Reply{404};
            if (reply) {
                if (!play(client, *reply))
                    return;
                continue;
            }
            if (!service) {
                service.emplace(*this, ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
                if (!service->connect(m_service))
                    return;
            }
            if (!service->send(request->second))
                return;
        }
    }
}

/// Notes the request, and takes its next reply if there is one.
std::optional<Reply> ScriptedPeer::scripted(const Request& request)
{
    const std::lock_guard lock(m_mutex);
    m_requests.push_back(request);
    for (const auto& key : {request.method + ' ' + request.target, request.method + ' ' + request.path()}) {
        const auto found = m_scripts.find(key);
        if (found == m_scripts.end() || found->second.empty())
            continue;
        Reply reply = std::move(found->second.front());
        found->second.pop_front();
        return reply;
    }
    return {};
}

/// Answers whether the connection goes on.
bool ScriptedPeer::play(Socket& client, const Reply& reply)
{
    std::unique_lock lock(m_mutex);
    if (reply.fault == Fault::Hold)
        m_changed.wait(lock, [this, now = m_releases] { return m_isStopping || m_releases > now; });
    lock.unlock();
    switch (reply.fault) {
    case Fault::Close:
        return false;
    case Fault::None:
    case Fault::Hold:
        return client.send(headOf(reply) + reply.body);
    case Fault::Cut:
        client.send(headOf(reply) + reply.body.substr(0, reply.body.size() / 2));
        return false;
    case Fault::Drip:
        bool goesOn = client.send(headOf(reply));
        for (std::size_t i = 0; goesOn && i < reply.body.size(); ++i) {
            goesOn = client.send(std::string_view(reply.body).substr(i, 1));
            lock.lock();
            goesOn = goesOn && !m_changed.wait_for(lock, reply.pause, [this] { return m_isStopping; });
            lock.unlock();
        }
        return goesOn;
    }
    return false;
}

} // namespace support
