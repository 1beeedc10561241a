#include "../support/InRow.h"
#include "Certificate.h"
#include "HttpClient.h"

#include "localservice/HttpServer.h"
#include "localservice/Tls.h"

#include <QDir>
#include <QElapsedTimer>
#include <QTest>

#include <atomic>
#include <condition_variable>
#include <curl/curl.h>
#include <future>
#include <list>
#include <mutex>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using localservice::HttpServer;
using localservice::Reply;
using localservice::Request;

namespace {

const QByteArray Get = "GET / HTTP/1.1\r\nHost: x\r\n\r\n";
const QByteArray Silence = "GET / HT";

/// A TCP connection that says what it is told to say.
class RawClient
{
public:
    /// `source` tells the addresses of 127.0.0.0/8 apart that it may speak from.
    explicit RawClient(std::uint16_t port, const QByteArray& bytes = {}, std::uint32_t source = 1)
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(0x7f000000U + source);
        ::bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
            say(bytes);
    }
    ~RawClient() { ::close(m_socket); }
    RawClient(const RawClient&) = delete;
    RawClient& operator=(const RawClient&) = delete;

    void say(const QByteArray& bytes)
    {
        std::ignore = ::send(m_socket, bytes.constData(), static_cast<size_t>(bytes.size()), MSG_NOSIGNAL);
    }
    /// Reads until `end` has come, or the server closes.
    QByteArray readUntil(const QByteArray& end)
    {
        QByteArray received;
        char some[256];
        for (ssize_t count = 1; count > 0 && (end.isEmpty() || !received.contains(end));) {
            count = ::recv(m_socket, some, sizeof some, 0);
            received.append(some, std::max<ssize_t>(0, count));
        }
        return received;
    }
    QByteArray readAll() { return readUntil({}); }
    /// Whether a request that is sent now is answered.
    bool isServed()
    {
        say(Get);
        return readUntil("here").startsWith("HTTP/1.1 200");
    }

private:
    const int m_socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

const Certificate& certificate()
{
    static const Certificate made;
    return made;
}

/// A server that answers with the body of the request, or "here"; "/large" with more than any buffer takes, "/held"
/// when it is let go, and "/failing" not at all; "/pieces", "/broken" and "/endless" in pieces.
class Echo
{
public:
    explicit Echo(HttpServer::Limits limits = {}, bool isEncrypted = false)
        : m_isEncrypted(isEncrypted), m_server([this](const Request& request) { return answer(request); }, limits)
    {
        start();
    }
    ~Echo() { letGo(); }
    Echo(const Echo&) = delete;
    Echo& operator=(const Echo&) = delete;

    void start()
    {
        std::shared_ptr<localservice::Tls> tls;
        if (m_isEncrypted)
            tls = *localservice::Tls::open({certificate().file().toStdString(), certificate().key().toStdString()});
        port = m_server.start({"127.0.0.1"}, 0, tls).value_or(0);
    }
    void stop() { m_server.stop(); }

    std::unique_ptr<HttpClient> client() const
    {
        auto client = std::make_unique<HttpClient>(
            (m_isEncrypted ? u"https://acme.localhost:%1"_s : u"http://acme.localhost:%1"_s).arg(port), QString(),
            QString());
        client->trusted = certificate().file();
        return client;
    }
    std::vector<Request> seen() const
    {
        const std::lock_guard lock(m_mutex);
        return m_seen;
    }
    /// Waits until so many requests are held.
    bool hold(int count)
    {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, 10s, [&] { return m_held == count; });
    }
    void letGo()
    {
        const std::lock_guard lock(m_mutex);
        m_isLetGo = true;
        m_changed.notify_all();
    }

    std::atomic<std::uint16_t> port = 0;
    std::atomic<int> pieces = 0; ///< of endless replies

private:
    Reply answer(const Request& request)
    {
        std::unique_lock lock(m_mutex);
        m_seen.push_back(request);
        if (request.target == "/large")
            return {200, std::string(64'000'000, 'x')};
        if (request.target == "/failing")
            throw std::bad_alloc();
        if (request.target == "/pieces")
            return {200, "one, ", {}, [rest = std::vector<std::string>{"", "three", "two, "}]() mutable {
                        const auto next = rest.back();
                        rest.pop_back();
                        return std::optional(next);
                    }};
        if (request.target == "/broken")
            return {200, "one, ", {}, [] { return std::optional<std::string>(); }};
        if (request.target == "/endless")
            return {200, {}, {}, [this] {
                        ++pieces;
                        return std::optional(std::string(64 * 1024, 'x'));
                    }};
        if (request.target == "/held") {
            ++m_held;
            m_changed.notify_all();
            m_changed.wait(lock, [this] { return m_isLetGo; });
        }
        return {200, request.body.empty() ? "here" : request.body};
    }

    const bool m_isEncrypted;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Request> m_seen;
    int m_held = 0;
    bool m_isLetGo = false;
    HttpServer m_server;
};

} // namespace

class HttpServerTest : public QObject
{
    Q_OBJECT

private slots:
    void refusesOddRequests_data()
    {
        QTest::addColumn<QByteArray>("sent");
        QTest::addColumn<int>("status");
        const QByteArray add = "POST /daily/add HTTP/1.1\r\nHost: acme.localhost\r\n";
        QTest::newRow("no HTTP") << QByteArray("hello\r\n\r\n") << 400;
        QTest::newRow("body too long") << add + "Content-Length: 1048577\r\n\r\n" << 413;
        QTest::newRow("body without length") << add + "\r\n" << 411;
        QTest::newRow("compressed body") << add + "Content-Encoding: gzip\r\nContent-Length: 1\r\n\r\nx" << 415;
        QTest::newRow("expectation") << add + "Content-Length: 1\r\nExpect: tea\r\n\r\nx" << 417;
        QTest::newRow("trace") << QByteArray("TRACE / HTTP/1.1\r\nHost: x\r\n\r\n") << 405;
        QTest::newRow("second request as a body")
            << "GET / HTTP/1.1\r\nHost: x\r\nContent-Length: " + QByteArray::number(Get.size()) + "\r\n\r\n" + Get
            << 400;
        // What another reader would see the end of the request in, or the beginning of the next one.
        const auto ambiguous = [](const QByteArray& request) {
            const auto name = request.toPercentEncoding(" +:;,").replace("%0D%0A", "|");
            QTest::newRow(name.constData()) << request + "\r\n" + Get << 400;
        };
        for (const QByteArray& fields : {"Content-Length: 1\r\nContent-Length: 2"_ba,
                                         "Content-Length: 1\r\nContent-Length: 1"_ba,
                                         "Content-Length: 1, 1"_ba,
                                         "Content-Length: +1"_ba,
                                         "Content-Length: 0x1"_ba,
                                         "Content-Length: "_ba,
                                         "Content-Length: 99999999999999999999"_ba,
                                         "Content-Length : 1"_ba,
                                         "Content-Length: 1\n"_ba,
                                         "Content-Length: 1\rX: y"_ba,
                                         "Content-Length: 1\r\n x"_ba,
                                         "Content-Length:\r\n\t1"_ba,
                                         "Content-Length: 1\r\nX: y\0z"_ba,
                                         "Content-Length: 1\r\nno colon"_ba,
                                         "Content-Length: 1\r\n: x"_ba,
                                         "Content-Length: 1\r\nHost: clock"_ba,
                                         "Content-Length: 1\r\nTransfer-Encoding: chunked"_ba,
                                         "Transfer-Encoding: chunked\r\nContent-Length: 1"_ba,
                                         "Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked"_ba,
                                         "Transfer-Encoding: xchunked"_ba,
                                         "Transfer-Encoding: chunked, identity"_ba,
                                         "Transfer-Encoding: gzip, chunked"_ba})
            ambiguous(add + fields + "\r\n\r\nx");
        for (const QByteArray& chunks :
             {"+5\r\nhello\r\n0\r\n"_ba, "0x5\r\nhello\r\n0\r\n"_ba, "-5\r\nhello\r\n0\r\n"_ba,
              " 5\r\nhello\r\n0\r\n"_ba, "5 \r\nhello\r\n0\r\n"_ba, "\r\nhello\r\n0\r\n"_ba, "5\nhello\r\n0\r\n"_ba,
              "5;a\nhello\r\n0\r\n"_ba, "5;a=\"\n\"\r\nhello\r\n0\r\n"_ba, "5\r\nhello0\r\n"_ba,
              "5\r\nhellohello\r\n0\r\n"_ba, "5\r\nhello\n0\r\n"_ba, "0\r\nX : y\r\n"_ba, "0\r\nX: y\r\n z\r\n"_ba,
              "0\r\nX: y\n"_ba, "ffffffffffffffffff\r\nhello\r\n0\r\n"_ba})
            ambiguous(add + "Transfer-Encoding: chunked\r\n\r\n" + chunks);
        ambiguous("POST /daily/add HTTP/1.0\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n");
        for (const QByteArray& line :
             {"GET  / HTTP/1.1"_ba, "GET / x HTTP/1.1"_ba, "GET /\t HTTP/1.1"_ba, "GET /"_ba, "GET x HTTP/1.1"_ba,
              "GET /#x HTTP/1.1"_ba, "GET /\xc3\xa4 HTTP/1.1"_ba, "GET / HTTP/2.0"_ba, " GET / HTTP/1.1"_ba,
              "\r\nGET / HTTP/1.1"_ba, "GET / HTTP/1.1\n"_ba, "BREW / HTTP/1.1"_ba})
            ambiguous(line + "\r\nHost: acme\r\n");
        ambiguous("GET / HTTP/1.1\r\n");
        for (const QByteArray& host : {"acme/x"_ba, "x@acme"_ba, "acme, x"_ba, "acme:x"_ba, "acme:80:80"_ba, "acme]"_ba,
                                       "[::1"_ba, "[::1]80"_ba, "[]]:80"_ba})
            ambiguous("GET / HTTP/1.1\r\nHost: " + host + "\r\n");
        QTest::newRow("body in chunks too long")
            << add + "Transfer-Encoding: chunked\r\n\r\n80000\r\n" + QByteArray(0x80000, 'x') + "\r\n80001\r\n"
            << 413;
        QTest::newRow("chunks of a byte") << add + "Transfer-Encoding: chunked\r\n\r\n" +
                                                 QByteArray("1;" + QByteArray(100, 'x') + "\r\nx\r\n").repeated(25'000)
                                          << 400;
        QTest::newRow("endless chunk") << add + "Transfer-Encoding: chunked\r\n\r\n1;" + QByteArray(70'000, 'x') << 400;
        QTest::newRow("endless header") << "GET / HTTP/1.1\r\nHost: x\r\nX: " + QByteArray(70'000, 'x') << 400;
        QTest::newRow("many headers") << "GET / HTTP/1.1\r\nHost: x\r\n" + QByteArray("X: y\r\n").repeated(20'000)
                                      << 400;
        QTest::newRow("long address") << "GET /" + QByteArray(9'000, 'x') + " HTTP/1.1\r\nHost: x\r\n\r\n" << 414;
    }

    void refusesOddRequests()
    {
        QFETCH(QByteArray, sent);
        QFETCH(int, status);
        Echo echo;
        const auto reply = RawClient(echo.port, sent).readAll();
        QVERIFY2(reply.startsWith("HTTP/1.1 " + QByteArray::number(status)), reply.constData());
        // What follows a request that was not understood must not be taken for another one.
        QCOMPARE(reply.count("HTTP/1.1"), 1);
        QCOMPARE(echo.seen().size(), 0U);
        // Whatever that was, others are served.
        QVERIFY(RawClient(echo.port).isServed());
    }

    void readsWhatIsSentInPieces()
    {
        Echo echo;
        RawClient client(echo.port, {}, 2);
        // Each byte a segment of its own, and the next request right behind.
        for (const char byte :
             "POST /echo HTTP/1.1\r\nHost:acme\r\ntransfer-encoding:\tChunked \r\nX: \r\n\r\n"
             "5;a=b\r\nhe\r\nl\r\n00A\r\no there, x\r\n0\r\nX: y\r\n\r\n"
             "POST /echo HTTP/1.1\r\nHost:\r\nContent-Length: 3\r\nConnection: x, Close\r\n\r\nabc"_ba)
            client.say(QByteArray(1, byte));
        const auto replies = client.readAll();
        QVERIFY2(replies.contains("\r\n\r\nhe\r\nlo there, xHTTP/1.1 200") && replies.endsWith("\r\n\r\nabc"),
                 replies.constData());
        const auto seen = echo.seen();
        QCOMPARE(seen.size(), 2U);
        QCOMPARE(seen[0].header("host"), "acme");
        QCOMPARE(seen[0].header("Transfer-Encoding"), "Chunked");
        QCOMPARE(seen[0].header("x"), "");
        QCOMPARE(seen[0].peer, "127.0.0.2");

        RawClient asking(echo.port,
                         "POST /echo HTTP/1.1\r\nHost: x\r\nContent-Length: 3\r\nExpect: 100-continue\r\n\r\n");
        QCOMPARE(asking.readUntil("\r\n\r\n"), "HTTP/1.1 100 Continue\r\n\r\n");
        asking.say("abc");
        QVERIFY(asking.readUntil("\r\n\r\nabc").startsWith("HTTP/1.1 200"));
        const auto head = RawClient(echo.port, "HEAD / HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n").readAll();
        QVERIFY2(head.contains("\r\nContent-Length: 4\r\n") && head.endsWith("\r\n\r\n"), head.constData());
        // What comes behind the last request costs nothing of the reply to it.
        RawClient talkative(echo.port, "GET /large HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
        QVERIFY(!talkative.readUntil("xx").isEmpty());
        talkative.say("\r\n");
        QVERIFY(talkative.readAll().size() > 63'999'000);
        // Older clients know of no answer but the last.
        RawClient older(echo.port, "POST /echo HTTP/1.0\r\nContent-Length: 3\r\nExpect: 100-continue\r\n\r\n");
        older.say("abc");
        QVERIFY(older.readAll().startsWith("HTTP/1.1 200"));
    }

    void answersInPieces()
    {
        const QByteArray last = "1\r\nHost: x\r\nConnection: close\r\n\r\n";
        const std::tuple<QByteArray, QByteArray, bool> rows[] = {
            {"GET /pieces HTTP/1." + last, "5\r\none, \r\n5\r\ntwo, \r\n5\r\nthree\r\n0\r\n\r\n", true},
            {"GET /pieces HTTP/1.0\r\n\r\n", "one, two, three", false},
            {"HEAD /pieces HTTP/1." + last, "", true},
            // Without the last chunk, the client knows that something is missing.
            {"GET /broken HTTP/1." + last, "5\r\none, \r\n", true}};
        Echo echo;
        for (const auto& [request, body, isChunked] : rows) {
            const auto reply = RawClient(echo.port, request).readAll();
            QVERIFY2(reply.startsWith("HTTP/1.1 200") && reply.endsWith("\r\n\r\n" + body), reply.constData());
            QCOMPARE(reply.contains("\r\nTransfer-Encoding: chunked\r\n"), isChunked);
            QVERIFY(!reply.contains("Content-Length"));
        }
    }

    void slowReadersOfPiecesHoldNothing()
    {
        for (const bool isEncrypted : {false, true}) {
            Echo echo({}, isEncrypted);
            const auto client = echo.client();
            for (int i = 0; i < 2; ++i)
                QCOMPARE(client->get(u"/pieces"_s).body, "one, two, three");
        }
        Echo echo;
        constexpr int readers = 12; // more than there are workers
        std::list<RawClient> slow;
        for (int i = 0; i < readers; ++i)
            QVERIFY(
                !slow.emplace_back(echo.port, "GET /endless HTTP/1.1\r\nHost: x\r\n\r\n").readUntil("xx").isEmpty());
        RawClient other(echo.port);
        for (int i = 0; i < 500; ++i)
            QVERIFY(other.isServed());
        // Made are no more than what the buffers of a connection take.
        QVERIFY2(echo.pieces < readers * 256, QByteArray::number(echo.pieces.load()));
    }

    void speaksTls()
    {
        Echo echo({}, true);
        const auto client = echo.client();
        QCOMPARE(client->get(u"/"_s).status, 200);
        QVERIFY(echo.seen().back().secure);
        const auto suspicious = echo.client();
        suspicious->trusted.clear();
        QCOMPARE(suspicious->get(u"/"_s).error, int(CURLE_PEER_FAILED_VERIFICATION));
        // Whoever does not speak it hears nothing, and disturbs nobody.
        QVERIFY(!RawClient(echo.port, Get).readAll().contains("HTTP"));
        const RawClient stalled(echo.port, "\x16\x03\x01");
        // More than a record holds, both ways.
        const QByteArray note(60'000, 'x');
        QCOMPARE(client->post(u"/echo"_s, note).body, note);

        QElapsedTimer timer;
        timer.start();
        for (int i = 0; i < 20; ++i)
            QCOMPARE(echo.client()->get(u"/"_s).status, 200);
        const qint64 handshakes = timer.nsecsElapsed();
        timer.start();
        for (int i = 0; i < 20; ++i)
            QCOMPARE(client->get(u"/"_s).status, 200);
        // A handshake for each request, or a delayed acknowledgement, would cost as much.
        QVERIFY2(timer.nsecsElapsed() < handshakes * 2 / 3, QByteArray::number(timer.elapsed()));
    }

    void stopsAtOnce()
    {
        for (const bool isEncrypted : {false, true}) {
            Echo echo({}, isEncrypted);
            RawClient silent(echo.port);
            const RawClient stalled(echo.port, isEncrypted ? "\x16\x03\x01"_ba : Silence);
            const auto kept = echo.client();
            QCOMPARE(kept->get(u"/"_s).status, 200);
            auto slow = std::async(std::launch::async, [client = echo.client()] {
                client->speed = 8'000'000;
                return client->get(u"/large"_s);
            });
            QTRY_COMPARE(echo.seen().back().target, "/large");
            std::list<RawClient> waiting; // most of them for a worker
            for (int i = 0; i < 8; ++i)
                waiting.emplace_back(echo.port, "GET /held HTTP/1.1\r\nHost: x\r\n\r\n");
            QVERIFY(isEncrypted || echo.hold(3));
            QElapsedTimer timer;
            timer.start();
            auto stopped = std::async(std::launch::async, [&echo] { echo.stop(); });
            QCOMPARE(silent.readAll(), QByteArray()); // it ends while workers are busy
            QTest::qWait(20);                         // and so does what waits for one
            echo.letGo();
            stopped.get();
            QVERIFY2(timer.elapsed() < 5000, QByteArray::number(timer.elapsed()));
            QVERIFY(slow.get().error != CURLE_OK);
            QCOMPARE(kept->get(u"/"_s).error, int(CURLE_COULDNT_CONNECT));
            echo.start();
            QCOMPARE(echo.client()->get(u"/"_s).status, 200);
        }
    }

    void everyStepHasItsTime()
    {
        const std::tuple<QByteArray, QByteArray, QByteArray> rows[] = {
            {"handshake", "\x16\x03\x01\x02", "x"},
            {"nothing", "", ""},
            {"head", "GET / HTTP/1.1\r\n", "X: y\r\n"},
            {"body", "POST / HTTP/1.1\r\nHost: x\r\nContent-Length: 9000\r\n\r\n", "x"},
            {"reply", "GET /large HTTP/1.1\r\nHost: x\r\n\r\n", ""},
            {"idle", Get, ""}};
        for (const auto& [name, start, drops] : rows) {
            const support::InRow row(name.constData());
            // The step that the row is about has little time, the others have much.
            HttpServer::Limits limits{.handshake = 1h, .head = 1h, .body = 1h, .reply = 1h, .idle = 1h};
            (name == "handshake" ? limits.handshake
             : name == "body"    ? limits.body
             : name == "reply"   ? limits.reply
             : name == "idle"    ? limits.idle
                                 : limits.head) = 200ms;
            Echo echo(limits, name == "handshake");
            QElapsedTimer timer;
            timer.start();
            RawClient client(echo.port, start);
            // Something comes all the time, but never what is waited for.
            while (!drops.isEmpty() && timer.elapsed() < 300) {
                client.say(drops);
                QTest::qWait(20);
            }
            QTest::qWait(name == "reply" ? 300 : 0);
            const auto received = client.readAll();
            QCOMPARE_GE(timer.elapsed(), 200);
            QCOMPARE_LT(timer.elapsed(), 5000);
            QCOMPARE(received.startsWith("HTTP/1.1 200"), name == "idle" || name == "reply");
            QVERIFY(received.size() < 64'000'000);
        }
    }

    void idleClientsGiveWay()
    {
        Echo echo({.clients = 20});
        std::list<RawClient> idle;
        for (int i = 0; i < 30; ++i)
            QVERIFY(idle.emplace_back(echo.port).isServed());
        QVERIFY(RawClient(echo.port).isServed());
        QCOMPARE(idle.front().readAll(), QByteArray());
        QVERIFY(idle.back().isServed());
    }

    void keepsNothingOfWhoHasGone()
    {
        Echo echo;
        const auto handles = [] { return QDir(u"/proc/self/fd"_s).count(); };
        QVERIFY(RawClient(echo.port).isServed());
        const auto before = handles();
        for (int i = 0; i < 300; ++i)
            RawClient(echo.port, i % 2 ? Silence : Get);
        QTRY_COMPARE_LE(handles(), before);
    }

    void floodsHarmNobodyElse()
    {
        // Clients that say nothing, and those that stay; of one address, and of twenty.
        for (const auto& [says, networks] : {std::pair(Silence, 1), {Get, 1}, {Silence, 20}, {Get, 20}}) {
            Echo echo({.clients = 128});
            std::list<RawClient> kept;
            for (std::uint32_t i = 0; i < 36; ++i) // three at the same address, and one each at others
                QVERIFY(kept.emplace_back(echo.port, QByteArray(), 100 + std::max(3U, i)).isServed());
            std::list<RawClient> flood;
            for (int i = 0; i < 300; ++i)
                flood.emplace_back(echo.port, says, 10 + static_cast<std::uint32_t>(i % networks));
            QVERIFY(RawClient(echo.port, {}, 2).isServed());
            for (auto& client : kept)
                QVERIFY(client.isServed());
        }
    }

    void floodsOfHandshakesHarmNobodyElse()
    {
        Echo echo({.clients = 128}, true);
        const auto from = [&](const QString& source) {
            auto client = echo.client();
            client->source = source;
            return client;
        };
        const auto kept = from(u"127.0.0.100"_s);
        QCOMPARE(kept->get(u"/"_s).status, 200);
        std::list<RawClient> flood;
        for (int i = 0; i < 300; ++i)
            flood.emplace_back(echo.port, i % 2 ? ""_ba : "\x16\x03\x01\x02"_ba, 10);
        QCOMPARE(from(u"127.0.0.2"_s)->get(u"/"_s).status, 200);
        const auto answer = kept->get(u"/"_s);
        QCOMPARE(answer.status, 200);
        QCOMPARE(answer.connections, 0);
    }

    /// Whether they meet is up to chance; the thread sanitizer sees it in any case.
    void startsAndStopsFromAnyThread()
    {
        Echo echo;
        const auto restart = [&echo] {
            for (int i = 0; i < 10; ++i) {
                echo.stop();
                echo.start();
            }
        };
        auto other = std::async(std::launch::async, restart);
        restart();
        other.get();
        echo.start();
        QVERIFY(RawClient(echo.port).isServed());
    }

    void oneWorkerIsForOthers()
    {
        Echo echo({.clients = 8});
        std::list<RawClient> greedy;
        for (int i = 0; i < 8; ++i)
            greedy.emplace_back(echo.port, "GET /held HTTP/1.1\r\nHost: x\r\n\r\n");
        QVERIFY(echo.hold(3));
        QVERIFY(RawClient(echo.port, {}, 2).isServed());
        QVERIFY(RawClient(echo.port, {}, 3).isServed());
        QVERIFY(echo.hold(3));
        echo.letGo();
        // The others have made way, before their requests were begun.
        const auto served = std::count_if(greedy.begin(), greedy.end(),
                                          [](auto& client) { return client.readUntil("here").endsWith("here"); });
        QVERIFY2(served >= 6 && served < 8, QByteArray::number(int(served)));
    }

    void failuresCostNoWorker()
    {
        Echo echo;
        for (int i = 0; i < 8; ++i)
            QVERIFY(RawClient(echo.port, "GET /failing HTTP/1.0\r\n\r\n").readAll().startsWith("HTTP/1.1 500"));
        QVERIFY(RawClient(echo.port).isServed());
    }
};

QTEST_GUILESS_MAIN(HttpServerTest)
#include "HttpServerTest.moc"
