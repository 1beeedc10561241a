#include "ScriptedPeer.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <future>

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
    bool isChunked = false; // the body is written so
    for (const auto& [name, value] : reply.headers) {
        head += name + ": " + value + "\r\n";
        hasType |= name == "Content-Type";
        isChunked |= name == "Transfer-Encoding";
    }
    if (!hasType)
        head += "Content-Type: application/xml; charset=utf-8\r\n";
    return head + (isChunked ? "" : "Content-Length: " + std::to_string(reply.body.size()) + "\r\n") + "\r\n";
}

} // namespace

/// A client's connection, in the thread of the peer. Goes with its socket.
class ScriptedPeer::Connection final : public QObject
{
public:
    Connection(ScriptedPeer& peer, QTcpSocket* client) : QObject(client), m_peer(peer), m_client(*client)
    {
        client->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        connect(client, &QTcpSocket::readyRead, this, &Connection::read);
        connect(client, &QTcpSocket::disconnected, client, &QObject::deleteLater);
    }

private:
    void read()
    {
        m_input += m_client.readAll().toStdString();
        while (const auto request = takeRequest(m_input)) {
            const auto reply = m_peer.scripted(request->first);
            if (reply && reply->passedOn > 0)
                passOn(request->second, *reply);
            else if (reply)
                play(*reply);
            else if (m_peer.m_service == 0)
                play(Reply{404});
            else
                passOn(request->second);
        }
    }

    void play(const Reply& reply)
    {
        switch (reply.fault) {
        case Fault::None:
            send(headOf(reply) + reply.body);
            break;
        case Fault::Close:
            m_client.disconnectFromHost();
            break;
        case Fault::Hold:
        case Fault::Relay:
            break;
        case Fault::Drip:
            send(headOf(reply));
            drip(reply.body, reply.pause);
            break;
        case Fault::Cut:
            send(headOf(reply) + reply.body.substr(0, reply.body.size() / 2));
            m_client.disconnectFromHost();
            break;
        }
    }

    void drip(const std::string& body, std::chrono::milliseconds pause)
    {
        auto* timer = new QTimer(this);
        connect(timer, &QTimer::timeout, this, [this, timer, left = body]() mutable {
            send(left.substr(0, 1));
            left.erase(0, 1);
            if (left.empty())
                timer->deleteLater();
        });
        timer->start(pause);
    }

    void passOn(const std::string& request)
    {
        if (!m_service) {
            m_service = new QTcpSocket(this);
            m_service->connectToHost(QHostAddress(QHostAddress::LocalHost), m_peer.m_service);
            connect(m_service, &QTcpSocket::readyRead, this, &Connection::hear);
            connect(m_service, &QTcpSocket::disconnected, &m_client, &QTcpSocket::disconnectFromHost);
            connect(m_service, &QTcpSocket::errorOccurred, &m_client, &QTcpSocket::disconnectFromHost);
        }
        m_service->write(request.data(), qint64(request.size()));
    }

    /// As often as the reply says, one after the other, and then the reply.
    void passOn(const std::string& request, const Reply& reply)
    {
        m_repeated = request;
        m_then = reply;
        passOn(request);
    }

    void hear()
    {
        const std::string bytes = m_service->readAll().toStdString();
        if (!m_then) {
            send(bytes);
            return;
        }
        m_heard += bytes;
        const auto whole = takeRequest(m_heard); // head, length and body are the same in a reply
        if (!whole)
            return;
        if (--m_then->passedOn > 0) {
            passOn(m_repeated);
            return;
        }
        const Reply then = *std::exchange(m_then, std::nullopt);
        then.fault == Fault::Relay ? send(whole->second) : play(then);
    }

    void send(const std::string& bytes) { m_client.write(bytes.data(), qint64(bytes.size())); }

    ScriptedPeer& m_peer;
    QTcpSocket& m_client;
    QTcpSocket* m_service = nullptr;
    std::string m_input;
    std::string m_repeated;
    std::string m_heard;
    std::optional<Reply> m_then; ///< when the service has answered
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

ScriptedPeer::ScriptedPeer(std::uint16_t service) : m_service(service), m_server(new QTcpServer)
{
    m_server->moveToThread(&m_thread);
    QObject::connect(&m_thread, &QThread::finished, m_server, &QObject::deleteLater);
    QObject::connect(m_server, &QTcpServer::newConnection, m_server, [this] {
        while (QTcpSocket* client = m_server->nextPendingConnection())
            new Connection(*this, client);
    });
    // Not by a call that waits: the thread sanitizer does not see how Qt's library orders threads.
    std::promise<std::uint16_t> port;
    QObject::connect(&m_thread, &QThread::started, m_server, [this, &port] {
        if (!m_server->listen(QHostAddress::LocalHost))
            qFatal("no port for the scripted peer");
        port.set_value(m_server->serverPort());
    });
    m_thread.start();
    m_port = port.get_future().get();
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
    m_thread.quit();
    m_thread.wait();
}

/// Notes the request, and takes its next reply if there is one.
std::optional<Reply> ScriptedPeer::scripted(const Request& request)
{
    if (fate) {
        if (auto reply = fate(request))
            return reply;
    }
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

} // namespace support
