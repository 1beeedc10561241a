#include "Scenario.h"

#include "Certificate.h"
#include "localservice/HttpServer.h"
#include "localservice/SignInThrottle.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QTest>

#include <algorithm>
#include <curl/curl.h>
#include <future>
#include <list>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using localservice::Reply;
using localservice::Request;

namespace {

/// A TCP connection to the service that says what it is told to say.
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

    /// Reads until `end` has come, or the service closes.
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

private:
    const int m_socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

using Over = Scenario::Over;

/// The HTTP server by itself. Its replies have the body of the request, or 16 MB where that is asked for; it
/// notes what arrived.
class Echo
{
public:
    explicit Echo(bool isEncrypted = false) : m_isEncrypted(isEncrypted) { start(); }

    void start() { port = m_server.start({"127.0.0.1"}, 0, m_isEncrypted ? openTls() : nullptr).value(); }
    void stop() { m_server.stop(); }

    std::unique_ptr<HttpClient> client() const
    {
        const auto url = u"%1://acme.localhost:%2"_s.arg(m_isEncrypted ? u"https"_s : u"http"_s).arg(port);
        auto client = std::make_unique<HttpClient>(url, QString(), QString());
        client->trusted = certificate().file();
        return client;
    }
    std::vector<Request> seen() const
    {
        const std::lock_guard lock(m_mutex);
        return m_seen;
    }

    std::uint16_t port = 0;

private:
    static const Certificate& certificate()
    {
        static const Certificate made;
        return made;
    }
    static std::shared_ptr<localservice::Tls> openTls()
    {
        return localservice::Tls::open({certificate().file().toStdString(), certificate().key().toStdString()}).value();
    }
    Reply answer(const Request& request)
    {
        const std::lock_guard lock(m_mutex);
        m_seen.push_back(request);
        return {200, request.target == "/large" ? std::string(16'000'000, 'x') : request.body};
    }

    const bool m_isEncrypted;
    mutable std::mutex m_mutex;
    std::vector<Request> m_seen;
    localservice::HttpServer m_server{[this](const Request& request) { return answer(request); }};
};

/// Listens at that port of [::1] for as long as the process lives; answers the port, 0 if it is not to be had.
std::uint16_t squat(std::uint16_t port)
{
    sockaddr_in6 address{AF_INET6, htons(port), 0, in6addr_loopback, 0};
    socklen_t length = sizeof address;
    const int socket = ::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    return ::bind(socket, generic, length) == 0 && ::listen(socket, 1) == 0 &&
                   ::getsockname(socket, generic, &length) == 0
               ? ntohs(address.sin6_port)
               : 0;
}

std::uint16_t portOf(const Scenario& s)
{
    return QString::fromStdString(s.service->url("x")).section(u':', -1).toUShort();
}

} // namespace

class LocalServiceTest : public QObject
{
    Q_OBJECT

private slots:
    void refusesStrangers_data();
    void refusesStrangers();
    void passwordsChangeAtOnce();
    void slowsGuessingDown();
    void throttleKeepsPeopleApart();
    void refusesOddRequests_data();
    void refusesOddRequests();
    void readsWhatIsSentInPieces();
    void stopsAtOnce_data();
    void stopsAtOnce();
    void speaksTls();
    void idleClientsGiveWay();
    void floodsHarmNobodyElse_data();
    void floodsHarmNobodyElse();
    void listensOnLoopbackOnly();
    void listensOnBothLoopbacks();
    void sharesNoPort();
    void keepsItsFileToItself();
    void samplesAreMadeOnce();
    void theProgramSignsInBesideItsOwner();
    void refusesUnusableFiles();
};

void LocalServiceTest::refusesStrangers_data()
{
    QTest::addColumn<QString>("host");
    QTest::addColumn<QString>("email");
    QTest::addColumn<QString>("password");
    QTest::addColumn<bool>("welcome");
    QTest::newRow("right") << u"acme.localhost"_s << u"ann@example.com"_s << u"secret"_s << true;
    QTest::newRow("e-mail in other case") << u"acme.localhost"_s << u"Ann@Example.com"_s << u"secret"_s << true;
    QTest::newRow("account in other case") << u"ACME.localhost:99"_s << u"ann@example.com"_s << u"secret"_s << true;
    QTest::newRow("wrong password") << u"acme.localhost"_s << u"ann@example.com"_s << u"Secret"_s << false;
    QTest::newRow("no password") << u"acme.localhost"_s << u"ann@example.com"_s << u""_s << false;
    QTest::newRow("unknown person") << u"acme.localhost"_s << u"bob@example.com"_s << u"secret"_s << false;
    QTest::newRow("unknown account") << u"other.localhost"_s << u"ann@example.com"_s << u"secret"_s << false;
    QTest::newRow("no account, two to choose from") << u"127.0.0.1"_s << u"ann@example.com"_s << u"secret"_s << false;
}

void LocalServiceTest::refusesStrangers()
{
    QFETCH(QString, host);
    QFETCH(QString, email);
    QFETCH(QString, password);
    QFETCH(bool, welcome);
    Scenario s;
    HttpClient client(QString::fromStdString(s.service->url("acme")), email, password);
    const auto answer = client.send("GET", u"/nowhere"_s, {}, {u"Host: "_s + host});
    QCOMPARE(answer.status, welcome ? 404 : 401);
    QCOMPARE(answer.body == "Authentication failed for API request.", !welcome);
    QCOMPARE(answer.headers.contains(u"x-company-cache-version"_s), welcome);
    QVERIFY(!answer.headers.contains(u"www-authenticate"_s));
}

void LocalServiceTest::passwordsChangeAtOnce()
{
    Scenario s;
    QCOMPARE(s.today().status, 200);
    QVERIFY(s.database().setPassword("acme", "ann@example.com", "näw: 1"));
    QCOMPARE(s.today().status, 401);
    QCOMPARE(s.client(s.acme, u"näw: 1"_s)->get(u"/daily"_s).status, 200);
    QVERIFY(!s.database().setPassword("acme", "bob@example.com", "x"));

    QElapsedTimer timer;
    const auto client = s.client(s.acme, u"näw: 1"_s);
    client->get(u"/daily?slim=1"_s);
    timer.start();
    for (int i = 0; i < 100; ++i)
        client->get(u"/account/who_am_i"_s);
    // A slow hash for each request, or a delayed acknowledgement, would cost ten times as much.
    QVERIFY2(timer.elapsed() < 1000, QByteArray::number(timer.elapsed()));
}

void LocalServiceTest::slowsGuessingDown()
{
    Scenario s;
    const auto tryWith = [&s](const QString& password) { return s.client(s.acme, password)->get(u"/daily?slim=1"_s); };
    for (int i = 0; i < 11; ++i)
        QCOMPARE(tryWith(u"old password of a program"_s).status, 401);
    s.pass(5min);
    for (int i = 0; i < 9; ++i)
        QCOMPARE(tryWith(QString::number(i)).status, 401);
    // Not even the right password tells anything now. The body is the one by which programs know that they are out.
    const auto refused = tryWith(u"secret"_s);
    QCOMPARE(refused.status, 429);
    QCOMPARE(refused.headers.value(u"retry-after"_s), u"600"_s);
    QCOMPARE(refused.body, "Authentication failed for API request.");
    QVERIFY(!refused.headers.contains(u"x-company-cache-version"_s));
    s.pass(599s);
    QCOMPARE(tryWith(u"secret"_s).status, 429);
    s.pass(1s);
    QCOMPARE(tryWith(u"another"_s).status, 401);
    QCOMPARE(tryWith(u"secret"_s).status, 429);
    s.pass(5min);
    QCOMPARE(tryWith(u"secret"_s).status, 200);
    // Who is in has a fresh start.
    for (int i = 0; i < 9; ++i)
        QCOMPARE(tryWith(QString::number(i)).status, 401);
    QCOMPARE(tryWith(u"secret"_s).status, 200);
}

void LocalServiceTest::throttleKeepsPeopleApart()
{
    std::chrono::system_clock::time_point now{};
    localservice::SignInThrottle throttle([&now] { return now; });
    const auto blocked = [&](const char* peer, const char* email, const std::string& password = "right") {
        return throttle.tryAgainIn(peer, {}, email, password).has_value();
    };
    QVERIFY(!blocked("192.0.2.1", "ben@example.com"));
    throttle.succeeded("192.0.2.1", {}, "ben@example.com");
    for (int i = 0; i < 10; ++i)
        QVERIFY(!blocked("192.0.2.1", "ann@example.com", std::to_string(i)));
    QVERIFY(blocked("192.0.2.1", "Ann@Example.com"));
    QVERIFY(!blocked("192.0.2.2", "ann@example.com"));
    for (int i = 0; i < 40; ++i)
        QVERIFY(!blocked("192.0.2.1", ("guess" + std::to_string(i)).c_str(), "123456"));
    QVERIFY(blocked("192.0.2.1", "somebody@example.com"));
    QVERIFY(!blocked("192.0.2.1", "ben@example.com"));
    for (int i = 0; i < 10; ++i)
        QVERIFY(!blocked(("2001:db8::" + std::to_string(i)).c_str(), "ann@example.com", std::to_string(i)));
    QVERIFY(blocked("2001:db8::ffff", "ann@example.com"));
    QVERIFY(!blocked("2001:db8:0:1::1", "ann@example.com"));
    // Whoever can be many users of a machine has no more tries for it.
    for (uid_t user = 0; user < 50; ++user)
        QVERIFY(!throttle.tryAgainIn("127.0.0.1", user, "ann@example.com", std::to_string(user)));
    QVERIFY(throttle.tryAgainIn("127.0.0.1", 50, "ann@example.com", "right"));
    // A clock that is set back blocks nobody for longer than the window.
    now -= 24h;
    QVERIFY(!blocked("192.0.2.1", "ann@example.com"));
}

void LocalServiceTest::refusesOddRequests_data()
{
    QTest::addColumn<QByteArray>("sent");
    QTest::addColumn<QByteArray>("answer"); // the start of the reply
    const QByteArray add = "POST /daily/add HTTP/1.1\r\nHost: acme.localhost\r\n";
    QTest::newRow("no HTTP") << QByteArray("hello\r\n\r\n") << QByteArray("HTTP/1.1 400");
    QTest::newRow("body too long") << add + "Content-Length: 1048577\r\n\r\n" << QByteArray("HTTP/1.1 413");
    QTest::newRow("body without length") << add + "\r\n" << QByteArray("HTTP/1.1 411");
    QTest::newRow("compressed body") << add + "Content-Encoding: gzip\r\nContent-Length: 1\r\n\r\nx"
                                     << QByteArray("HTTP/1.1 415");
    QTest::newRow("second request as a body")
        << QByteArray("GET / HTTP/1.1\r\nContent-Length: 30\r\n\r\nGET /daily/timer/1 HTTP/1.1\r\n\r\n")
        << QByteArray("HTTP/1.1 400");
    // What another reader would see the end of the request in, or the beginning of the next one.
    const QByteArray next = "\r\nGET /daily/timer/1 HTTP/1.1\r\n\r\n";
    const auto ambiguous = [&](const QByteArray& request) {
        const auto name = request.toPercentEncoding(" +:;,").replace("%0D%0A", "|");
        QTest::newRow(name.constData()) << request + next << QByteArray("HTTP/1.1 400");
    };
    for (const QByteArray& fields :
         {"Content-Length: 1\r\nContent-Length: 2"_ba, "Content-Length: 1\r\nContent-Length: 1"_ba,
          "Content-Length: 1, 1"_ba, "Content-Length: +1"_ba, "Content-Length: 0x1"_ba, "Content-Length: "_ba,
          "Content-Length : 1"_ba, "Content-Length: 1\n"_ba, "Content-Length: 1\rX: y"_ba, "Content-Length: 1\r\n x"_ba,
          "Content-Length: 1\r\nX: y\0z"_ba, "Content-Length: 1\r\nno colon"_ba, "Content-Length: 1\r\n: x"_ba,
          "Content-Length: 1\r\nHost: clock"_ba, "Content-Length: 1\r\nTransfer-Encoding: chunked"_ba,
          "Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked"_ba, "Transfer-Encoding: xchunked"_ba,
          "Transfer-Encoding: chunked, identity"_ba})
        ambiguous(add + fields + "\r\n\r\nx");
    for (const QByteArray& chunks :
         {"+5\r\nhello\r\n0\r\n"_ba, "0x5\r\nhello\r\n0\r\n"_ba, "-5\r\nhello\r\n0\r\n"_ba, " 5\r\nhello\r\n0\r\n"_ba,
          "5 \r\nhello\r\n0\r\n"_ba, "\r\nhello\r\n0\r\n"_ba, "5\nhello\r\n0\r\n"_ba, "5;a\nhello\r\n0\r\n"_ba,
          "5\r\nhello0\r\n"_ba, "5\r\nhellohello\r\n0\r\n"_ba, "5\r\nhello\n0\r\n"_ba, "0\r\nX : y\r\n"_ba,
          "ffffffffffffffffff\r\nhello\r\n0\r\n"_ba})
        ambiguous(add + "Transfer-Encoding: chunked\r\n\r\n" + chunks);
    ambiguous("POST /daily/add HTTP/1.0\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n");
    for (const QByteArray& line :
         {"GET  / HTTP/1.1"_ba, "GET / x HTTP/1.1"_ba, "GET /\t HTTP/1.1"_ba, "GET /"_ba, "GET x HTTP/1.1"_ba,
          "GET / HTTP/2.0"_ba, " GET / HTTP/1.1"_ba, "GET / HTTP/1.1\r\nHost: acme/x"_ba,
          "GET / HTTP/1.1\r\nHost: x@acme"_ba, "GET / HTTP/1.1\r\nHost: acme, x"_ba})
        ambiguous(line + "\r\n");
    QTest::newRow("body in chunks too long")
        << add + "Transfer-Encoding: chunked\r\n\r\n80000\r\n" + QByteArray(0x80000, 'x') + "\r\n80001\r\n"
        << QByteArray("HTTP/1.1 413");
    QTest::newRow("endless header") << "GET / HTTP/1.1\r\nX: " + QByteArray(70'000, 'x') << QByteArray("HTTP/1.1 400");
    QTest::newRow("many headers") << "GET / HTTP/1.1\r\n" + QByteArray("X: y\r\n").repeated(20'000)
                                  << QByteArray("HTTP/1.1 400");
    QTest::newRow("long address") << "GET /" + QByteArray(9'000, 'x') + " HTTP/1.1\r\n\r\n"
                                  << QByteArray("HTTP/1.1 414");
    QTest::newRow("odd method") << QByteArray("BREW / HTTP/1.1\r\n\r\n") << QByteArray("HTTP/1.1 400");
    QTest::newRow("broken authorization")
        << QByteArray("GET / HTTP/1.1\r\nConnection: close\r\nAuthorization: Basic !!!!\r\n\r\n")
        << QByteArray("HTTP/1.1 401");
}

void LocalServiceTest::refusesOddRequests()
{
    QFETCH(QByteArray, sent);
    QFETCH(QByteArray, answer);
    Scenario s;
    const auto reply = RawClient(portOf(s), sent).readAll();
    QCOMPARE(reply.left(answer.size()), answer);
    // What follows a request that was not understood must not be taken for another one.
    QCOMPARE(reply.count("HTTP/1.1"), 1);
    // Whatever that was, others are served.
    QCOMPARE(s.today().status, 200);
}

void LocalServiceTest::readsWhatIsSentInPieces()
{
    Echo echo;
    RawClient client(echo.port, {}, 2);
    // Each byte a segment of its own, and the next request right behind.
    for (const char byte : "POST /echo HTTP/1.1\r\nHost:acme\r\ntransfer-encoding:\tChunked \r\nX: \r\n\r\n"
                           "5;a=b\r\nhe\r\nl\r\n00A\r\no there, x\r\n0\r\nX: y\r\n\r\n"
                           "POST /echo HTTP/1.1\r\nContent-Length: 3\r\nConnection: x, Close\r\n\r\nabc"_ba)
        client.say(QByteArray(1, byte));
    const auto replies = client.readAll();
    QVERIFY2(replies.contains("\r\n\r\nhe\r\nlo there, xHTTP/1.1 200") && replies.endsWith("\r\n\r\nabc"),
             replies.constData());
    const auto seen = echo.seen();
    QCOMPARE(seen.size(), 2U);
    QCOMPARE(seen[0].body, "he\r\nlo there, x");
    QCOMPARE(seen[0].header("host"), "acme");
    QCOMPARE(seen[0].header("Transfer-Encoding"), "Chunked");
    QCOMPARE(seen[0].peer, "127.0.0.2");
    QCOMPARE(seen[1].body, "abc");

    RawClient asking(echo.port, "POST /echo HTTP/1.1\r\nContent-Length: 3\r\nExpect: 100-continue\r\n\r\n");
    QCOMPARE(asking.readUntil("\r\n\r\n"), "HTTP/1.1 100 Continue\r\n\r\n");
    asking.say("abc");
    QVERIFY(asking.readUntil("\r\n\r\nabc").startsWith("HTTP/1.1 200"));
    const auto head = RawClient(echo.port, "HEAD /large HTTP/1.1\r\nConnection: close\r\n\r\n").readAll();
    QVERIFY2(head.startsWith("HTTP/1.1 200") && head.endsWith("\r\n\r\n"), head.constData());
    // Older clients know of no answer but the last.
    RawClient older(echo.port, "POST /echo HTTP/1.0\r\nContent-Length: 3\r\nExpect: 100-continue\r\n\r\n");
    older.say("abc");
    QVERIFY(older.readUntil("\r\n\r\nabc").startsWith("HTTP/1.1 200"));
}

void LocalServiceTest::stopsAtOnce_data()
{
    QTest::addColumn<bool>("isEncrypted");
    QTest::newRow("plain") << false;
    QTest::newRow("encrypted") << true;
}

void LocalServiceTest::stopsAtOnce()
{
    QFETCH(bool, isEncrypted);
    Echo echo(isEncrypted);
    const RawClient silent(echo.port);
    const RawClient stalled(echo.port, isEncrypted ? "\x16\x03\x01" : "GET / HT");
    const auto stays = echo.client();
    QCOMPARE(stays->get(u"/"_s).status, 200); // this connection stays open
    auto waiting = std::async(std::launch::async, [client = echo.client()] {
        client->speed = 1000;
        return client->get(u"/large"_s);
    });
    QTRY_COMPARE(echo.seen().back().target, "/large");
    QElapsedTimer timer;
    timer.start();
    echo.stop();
    QVERIFY2(timer.elapsed() < 500, QByteArray::number(timer.elapsed()));
    QVERIFY(waiting.get().error != CURLE_OK);
    QCOMPARE(echo.client()->get(u"/"_s).error, int(CURLE_COULDNT_CONNECT));
    echo.start();
    QCOMPARE(echo.client()->get(u"/"_s).status, 200);
}

void LocalServiceTest::speaksTls()
{
    Echo echo(true);
    const auto client = echo.client();
    // More than a record holds, both ways.
    const QByteArray note(60'000, 'x');
    QCOMPARE(client->post(u"/"_s, note).body, note);
    QVERIFY(echo.seen().back().secure);

    Scenario s(Over::Tls);
    QCOMPARE(s.today().status, 200);
    const auto suspicious = s.client(s.acme);
    suspicious->trusted.clear();
    QCOMPARE(suspicious->get(u"/daily"_s).error, int(CURLE_PEER_FAILED_VERIFICATION));
    // Whoever does not speak it hears nothing, and disturbs nobody.
    QVERIFY(!RawClient(portOf(s), "GET / HTTP/1.1\r\n\r\n").readAll().contains("HTTP"));
    const RawClient stalled(portOf(s), "\x16\x03\x01");

    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < 100; ++i)
        QCOMPARE(s.get(u"/account/who_am_i"_s).status, 200);
    // A handshake for each request, or a delayed acknowledgement, would cost more.
    QVERIFY2(timer.elapsed() < 1000, QByteArray::number(timer.elapsed()));
}

void LocalServiceTest::idleClientsGiveWay()
{
    Scenario s;
    std::list<RawClient> idle;
    for (int i = 0; i < 80; ++i) {
        idle.emplace_back(portOf(s), "GET / HTTP/1.1\r\n\r\n");
        QVERIFY(idle.back().readUntil("API request.").startsWith("HTTP/1.1 401"));
    }
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(s.today().status, 200);
    QVERIFY2(timer.elapsed() < 1000, QByteArray::number(timer.elapsed()));
    QCOMPARE(idle.front().readAll(), QByteArray());
}

void LocalServiceTest::floodsHarmNobodyElse_data()
{
    QTest::addColumn<QByteArray>("flood");
    QTest::newRow("of clients that say nothing") << "GET / HT"_ba;
    QTest::newRow("of clients that stay") << "GET / HTTP/1.1\r\n\r\n"_ba;
}

void LocalServiceTest::floodsHarmNobodyElse()
{
    QFETCH(QByteArray, flood);
    Scenario s;
    const QByteArray request = "GET / HTTP/1.1\r\n\r\n";
    const QByteArray end = "API request.";
    std::list<RawClient> kept;
    for (std::uint32_t i = 0; i < 36; ++i) {
        // Twelve at the same address, and one each at others.
        kept.emplace_back(portOf(s), request, 10 + std::max(12U, i));
        QVERIFY(kept.back().readUntil(end).startsWith("HTTP/1.1 401"));
    }
    std::list<RawClient> clients;
    for (int i = 0; i < 300; ++i)
        clients.emplace_back(portOf(s), flood);
    // They come in order: when the last one has been answered or sent away, the others have been as well.
    clients.back().readUntil(end);
    for (auto& client : kept) {
        client.say(request);
        QVERIFY(client.readUntil(end).startsWith("HTTP/1.1 401"));
    }
    QElapsedTimer timer;
    timer.start();
    QVERIFY(RawClient(portOf(s), request, 2).readUntil(end).startsWith("HTTP/1.1 401"));
    QVERIFY2(timer.elapsed() < 1000, QByteArray::number(timer.elapsed()));
}

void LocalServiceTest::listensOnLoopbackOnly()
{
    QTemporaryDir folder;
    for (const auto* address : {"0.0.0.0", "::", "192.168.1.1", "example.com", ""}) {
        localservice::Service service({.dataFile = folder.filePath(u"x"_s).toStdString(), .address = address});
        QVERIFY2(!service.start(), address);
    }
    QVERIFY(!QFileInfo::exists(folder.filePath(u"x"_s)));
}

void LocalServiceTest::listensOnBothLoopbacks()
{
    const auto taken = squat(0);
    if (taken == 0)
        QSKIP("this machine has no [::1]");
    const bool isRoot = ::geteuid() == 0;
    for (const auto* address : {"127.0.0.1", "::1", "0:0:0:0:0:0:0:1"}) {
        QTemporaryDir folder;
        localservice::Service::Options options{.dataFile = folder.filePath(u"x"_s).toStdString(), .address = address};
        localservice::Service service(options);
        const auto port = service.start();
        QVERIFY2(port, port ? "" : port.error().c_str());
        for (const auto& host : {u"127.0.0.1"_s, u"[::1]"_s}) {
            HttpClient client(u"http://%1:%2"_s.arg(host).arg(*port), {}, {});
            QCOMPARE(client.get(u"/"_s).status, 401);
            QVERIFY(!isRoot || ::seteuid(4242) == 0);
            QCOMPARE(squat(*port), std::uint16_t{0});
            QVERIFY(!isRoot || ::seteuid(0) == 0);
        }
        service.stop();
        // Half of the addresses would be worse than none: the other half may be somebody else's.
        options.port = taken;
        QVERIFY(!localservice::Service(options).start());
    }
    Scenario s;
    QCOMPARE(s.today().status, 200);
}

void LocalServiceTest::sharesNoPort()
{
    Scenario s;
    localservice::Service second({.dataFile = s.folder.filePath(u"other"_s).toStdString(), .port = portOf(s)});
    const auto started = second.start();
    QVERIFY(!started);
    QVERIFY2(QString::fromStdString(started.error()).contains(u"Address already in use"_s), started.error().c_str());
}

void LocalServiceTest::keepsItsFileToItself()
{
    Scenario s;
    s.add();
    const auto owner = QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser;
    QByteArray bytes;
    for (const auto* suffix : {"", "-wal"}) {
        QFile file(s.folder.filePath(u"deep/service.sqlite"_s) + QLatin1String(suffix));
        QCOMPARE(file.permissions(), owner);
        QVERIFY(file.open(QFile::ReadOnly));
        bytes += file.readAll();
    }
    QVERIFY(bytes.contains("ann@example.com"));
    QVERIFY(!bytes.contains("secret"));
}

void LocalServiceTest::samplesAreMadeOnce()
{
    QTemporaryDir folder;
    localservice::Service service({.dataFile = folder.filePath(u"new/x.sqlite"_s).toStdString()});
    const auto database = service.database();
    QVERIFY(database);
    const auto first = (*database)->ensureSampleAccount("me@example.com");
    QVERIFY(first && first->password && first->password->size() == 20);
    const auto second = (*database)->ensureSampleAccount("other@example.com");
    QVERIFY(second && !second->password);
    QCOMPARE(second->email, "me@example.com");
    QCOMPARE(second->account, first->account);

    QVERIFY(service.start());
    HttpClient client(QString::fromStdString(service.url("local")), u"me@example.com"_s,
                      QString::fromStdString(*first->password));
    const auto sheet = client.get(u"/daily"_s);
    QCOMPARE(sheet.texts(u"code"_s).size(), 5);
    // And one entry without time, so that there is a timer to start.
    QCOMPARE(sheet.texts(u"hours"_s), QStringList{u"0.0"_s});
    QVERIFY(sheet.texts(u"code"_s).contains(QString()) && sheet.texts(u"code"_s).contains(u"JB-01"_s));
    QVERIFY(sheet.texts(u"billable"_s).contains(u"true"_s) && sheet.texts(u"billable"_s).contains(u"false"_s));
    // One account is told by its bare address too.
    QCOMPARE(client.send("GET", u"/daily"_s, {}, {u"Host: 127.0.0.1:1"_s}).status, 200);
    QVERIFY((*database)->setPassword("local", "me@example.com", "mine"));
    QCOMPARE(client.get(u"/daily"_s).status, 401);
}

void LocalServiceTest::theProgramSignsInBesideItsOwner()
{
    QTemporaryDir folder;
    localservice::Service service(
        {.dataFile = folder.filePath(u"x.sqlite"_s).toStdString(), .ownerPassword = "made for this run"});
    const auto database = service.database();
    QVERIFY(database);
    const auto sample = (*database)->ensureSampleAccount("me@localhost", "local", localservice::FirstPassword::None);
    QVERIFY(sample && !sample->password && !sample->hasPassword);
    const auto bob = (*database)->addPerson({sample->account, "bob@localhost", "secret of bob"});
    QVERIFY(bob && service.start());
    const auto who = [&](const QString& email, const QString& password) {
        HttpClient client(QString::fromStdString(service.url("local")), email, password);
        const auto answer = client.get(u"/account/who_am_i"_s);
        return answer.status == 200 ? answer.text(u"email"_s) : QString::number(answer.status);
    };
    QCOMPARE(who(u"me@localhost"_s, u"made for this run"_s), u"me@localhost"_s);
    QCOMPARE(who(u"old@localhost"_s, u"made for this run"_s), u"me@localhost"_s);
    QCOMPARE(who(u"me@localhost"_s, QString()), u"401"_s);
    QCOMPARE(who(u"bob@localhost"_s, u"secret of bob"_s), u"bob@localhost"_s);

    QVERIFY((*database)->setPassword("local", "me@localhost", "mine"));
    QVERIFY((*database)->ensureSampleAccount("me@localhost")->hasPassword);
    QCOMPARE(who(u"me@localhost"_s, u"mine"_s), u"me@localhost"_s);
    QCOMPARE(who(u"me@localhost"_s, u"made for this run"_s), u"me@localhost"_s);
}

void LocalServiceTest::refusesUnusableFiles()
{
    QTemporaryDir folder;
    const auto start = [](const QString& file) {
        localservice::Service service({.dataFile = file.toStdString()});
        const auto started = service.start();
        return started ? QString() : QString::fromStdString(started.error());
    };
    QFile text(folder.filePath(u"text"_s));
    QVERIFY(text.open(QFile::WriteOnly) && text.write(QByteArray(5000, 'x')) == 5000);
    text.close();
    QCOMPARE(start(text.fileName()), u"cannot use %1: file is not a database"_s.arg(text.fileName()));
    QCOMPARE(start(folder.path()), u"cannot open %1: Is a directory"_s.arg(folder.path()));

    const auto newer = folder.filePath(u"newer"_s);
    QVERIFY(start(newer).isEmpty());
    QFile file(newer);
    // The version number of the schema stands at byte 60 of an SQLite file.
    QVERIFY(file.open(QFile::ReadWrite) && file.seek(63) && file.putChar(99));
    file.close();
    QCOMPARE(start(newer), u"cannot use %1: it was written by a newer version of the service"_s.arg(newer));
}

QTEST_GUILESS_MAIN(LocalServiceTest)
#include "LocalServiceTest.moc"
