#pragma once

#include <QByteArray>
#include <QStringList>
#include <QThread>

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class QTcpServer;

namespace support {

using Headers = std::vector<std::pair<std::string, std::string>>;

/// A request as it arrived: `target` is path and query exactly as sent.
struct Request
{
    std::string method;
    std::string target;
    Headers headers = {};
    std::string body = {};

    std::string path() const { return target.substr(0, target.find('?')); }
    /// The first header of that name (any case), empty when there is none.
    std::string header(std::string_view name) const;
};

/// What happens to a reply on its way to the client.
enum class Fault
{
    None,
    Close, ///< the connection ends before the first byte
    Hold,  ///< nothing is ever sent
    Drip,  ///< the head at once, then the body byte by byte, `pause` apart
    Cut,   ///< the head announces the whole body, the connection ends after half of it
    Relay, ///< instead of this reply, the last one of the service that the request was passed on to
};

/// A scripted reply: XML unless a Content-Type header says otherwise.
struct Reply
{
    int status = 200;
    std::string body = {};
    Headers headers = {};
    Fault fault = Fault::None;
    std::chrono::milliseconds pause{0};
    int passedOn = 0; ///< how often the service behind gets the request before this reply goes out

    static Reply closed() { return {200, {}, {}, Fault::Close}; }
    static Reply hanging() { return {200, {}, {}, Fault::Hold}; }
    static Reply dripping(std::string body, std::chrono::milliseconds pause)
    {
        return {200, std::move(body), {}, Fault::Drip, pause};
    }
    static Reply cut(std::string body) { return {200, std::move(body), {}, Fault::Cut}; }
    static Reply redirect(std::string location, int status = 302)
    {
        return {status, {}, {{"Location", std::move(location)}}};
    }
};

/// An HTTP peer on 127.0.0.1 that notes what it is asked and plays scripted replies. What has none it passes on to the
/// service behind it, whose reply goes back byte by byte; without a service it answers 404. Works in a thread of its
/// own. Thread-safe.
class ScriptedPeer final
{
public:
    /// `service`: the port of the real service on 127.0.0.1, 0 for none.
    explicit ScriptedPeer(std::uint16_t service = 0);
    ~ScriptedPeer() { stop(); }
    ScriptedPeer(const ScriptedPeer&) = delete;
    ScriptedPeer& operator=(const ScriptedPeer&) = delete;

    std::uint16_t port() const { return m_port; }
    QByteArray url(const QByteArray& target = {}, const QByteArray& host = "acme.localhost") const;

    /// The next replies to `request`, a method and a target ("GET /daily/1/2013?slim=1"; without a query it stands for
    /// the path with any). They are given in order, once each. More calls for the same request append.
    void answer(const std::string& request, std::vector<Reply> replies);

    /// Asked before the scripts what becomes of a request. In the peer's thread, which waits for the answer. To be set
    /// before the first request.
    std::function<std::optional<Reply>(const Request&)> fate;

    /// Every request so far, in order of arrival.
    std::vector<Request> requests() const;
    /// The same as "METHOD target".
    QStringList asked() const;
    void forgetRequests();

    /// Ends every connection and refuses new ones.
    void stop();

private:
    class Connection;
    std::optional<Reply> scripted(const Request& request);

    const std::uint16_t m_service;
    std::uint16_t m_port = 0;
    mutable std::mutex m_mutex;
    std::map<std::string, std::deque<Reply>> m_scripts;
    std::vector<Request> m_requests;
    QThread m_thread;
    QTcpServer* m_server; ///< in that thread
};

} // namespace support
