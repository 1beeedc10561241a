#include "service/HttpClient.h"
#include "settings/QuillonPreferences.h"
#include "support/ServiceRun.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <thread>

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
using service::HttpClient;
using service::HttpReply;
using service::HttpRequest;
using support::Reply;

namespace {

/// A service whose replies are scripted, on its own.
struct Peer
{
    Peer() { port = service.start().value_or(0); }

    QByteArray url(const char* path, const char* host = "acme.localhost") const
    {
        return QByteArray("http://") + host + ':' + QByteArray::number(port) + path;
    }
    std::string location(const char* path, const char* host = "acme.localhost") const
    {
        return url(path, host).toStdString();
    }
    QStringList requests() const
    {
        QStringList all;
        for (const localservice::Request& request : service.requests())
            all << QString::fromStdString(request.method + ' ' + request.target);
        return all;
    }

    QTemporaryDir folder;
    localservice::Service service{{.dataFile = folder.filePath(u"data"_s).toStdString(), .recordRequests = true}};
    std::uint16_t port = 0;
};

HttpRequest get(const QByteArray& url)
{
    return {.url = url, .authorization = QByteArray("Basic YTpi")};
}

HttpRequest post(const QByteArray& url)
{
    HttpRequest request = get(url);
    request.method = "POST";
    request.body = "<request/>";
    return request;
}

int errorCode(const HttpReply& reply)
{
    return reply.error ? reply.error->code : 0;
}

/// An HTTPS server on loopback with a certificate for "localhost" that nobody has signed; serves the files of its
/// folder, each a whole reply.
class SecurePeer
{
public:
    SecurePeer()
    {
        run(u"req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout key.pem -out certificate.pem "
            "-days 2 -subj /CN=localhost -addext subjectAltName=DNS:localhost,DNS:team.office.localhost"_s);
        m_server.waitForFinished(30'000);
        run(u"s_server -HTTP -accept 127.0.0.1:0 -cert certificate.pem -key key.pem"_s);
        QByteArray said;
        while (port == 0 && m_server.waitForReadyRead(30'000)) {
            said += m_server.readAllStandardOutput();
            const qsizetype at = said.indexOf("ACCEPT 127.0.0.1:");
            if (at >= 0 && said.indexOf('\n', at) > 0)
                port = said.mid(at + 17, said.indexOf('\n', at) - at - 17).toInt();
        }
    }
    ~SecurePeer()
    {
        m_server.kill();
        m_server.waitForFinished();
    }

    QByteArray url(const char* path) const { return "https://localhost:" + QByteArray::number(port) + path; }
    QByteArray certificate() const { return m_folder.filePath(u"certificate.pem"_s).toLocal8Bit(); }
    QByteArray key() const { return m_folder.filePath(u"key.pem"_s).toLocal8Bit(); }
    void serve(const QString& name, const QByteArray& reply) const
    {
        QFile file(m_folder.filePath(name));
        if (file.open(QIODevice::WriteOnly))
            file.write(reply);
    }

    int port = 0;

private:
    void run(const QString& arguments)
    {
        m_server.setWorkingDirectory(m_folder.path());
        m_server.start(u"openssl"_s, QProcess::splitCommand(arguments));
    }

    QTemporaryDir m_folder;
    QProcess m_server;
};

/// A variable of the environment, for the lifetime of the object.
class Variable
{
public:
    Variable(const char* name, const QByteArray& value) : m_name(name) { qputenv(name, value); }
    ~Variable() { qunsetenv(m_name); }

private:
    const char* m_name;
};

} // namespace

class HttpClientTest final : public QObject
{
    Q_OBJECT

private slots:
    void sendsWhatItIsGiven();
    void repliesOfAllKindsComeBack_data();
    void repliesOfAllKindsComeBack();
    void failuresOnTheWay_data();
    void failuresOnTheWay();
    void redirectsAreFollowed_data();
    void redirectsAreFollowed();
    void redirectsHaveALimit();
    void credentialsStayWithTheirHost_data();
    void credentialsStayWithTheirHost();
    void largestBody();
    void changingRequestsAreNeverRepeated_data();
    void changingRequestsAreNeverRepeated();
    void loopbackNeedsNoProxy();
    void secureConnections();
    void aTeamsOwnService();
    void stopEndsTheWait();
};

void HttpClientTest::sendsWhatItIsGiven()
{
    Peer peer;
    peer.service.answer("POST /daily/add", {Reply{201, "<add/>"}});
    HttpClient client;
    HttpRequest request = post(peer.url("/daily/add?of=x"));
    request.headers = {{"Content-Type", "application/xml"}, {"X-Long", QByteArray(3000, 'x')}};
    request.body = QByteArray("a\0b", 3);
    QCOMPARE(client.send(request, {}).status, 201);

    const localservice::Request got = peer.service.requests().at(0);
    QCOMPARE(got.target, "/daily/add?of=x");
    QCOMPARE(got.body, std::string("a\0b", 3));
    QStringList names;
    for (const auto& [name, value] : got.headers)
        names << QString::fromStdString(name);
    names.sort();
    QCOMPARE(names, QStringList({u"Accept"_s, u"Authorization"_s, u"Content-Length"_s, u"Content-Type"_s, u"Host"_s,
                                 u"X-Long"_s}));
    QCOMPARE(got.header("X-Long").size(), 3000U);
    QCOMPARE(got.header("Authorization"), "Basic YTpi");
    QCOMPARE(got.header("Host"), "acme.localhost:" + std::to_string(peer.port));
}

void HttpClientTest::repliesOfAllKindsComeBack_data()
{
    QTest::addColumn<int>("status");
    for (const int status : {200, 201, 304, 401, 404, 409, 410, 422, 500, 502, 503})
        QTest::addRow("%d", status) << status;
}

void HttpClientTest::repliesOfAllKindsComeBack()
{
    QFETCH(int, status);
    Peer peer;
    const std::string body = status == 304 ? "" : "R\xc3\xa9ponse";
    peer.service.answer("GET /daily", {Reply{status, body, {{"X-Company-Cache-Version", "7"}}}});
    HttpClient client;
    const HttpReply reply = client.send(get(peer.url("/daily")), {});
    QCOMPARE(errorCode(reply), 0);
    QCOMPARE(reply.status, status);
    QCOMPARE(reply.body.toStdString(), body);
    QCOMPARE(reply.header("x-company-CACHE-version"), "7");
    QCOMPARE(reply.header("X-Other"), std::nullopt);
    QCOMPARE(peer.requests(), QStringList(u"GET /daily"_s));
}

void HttpClientTest::failuresOnTheWay_data()
{
    QTest::addColumn<Reply>("scripted");
    QTest::addColumn<int>("code");
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("closed without an answer") << Reply::closed() << 52 << QByteArray();
    QTest::newRow("never answered") << Reply::hanging() << 28 << QByteArray();
    QTest::newRow("dripping") << Reply::dripping(std::string(100, 'x'), 100ms) << 28 << QByteArray();
    QTest::newRow("ends too early") << Reply::cut("Authentication") << 18 << QByteArray("Authent");
}

void HttpClientTest::failuresOnTheWay()
{
    QFETCH(Reply, scripted);
    QFETCH(int, code);
    QFETCH(QByteArray, body);
    Peer peer;
    peer.service.answer("GET /daily", {scripted});
    HttpClient client(400ms);
    QElapsedTimer time;
    time.start();
    const HttpReply reply = client.send(get(peer.url("/daily")), {});
    QCOMPARE(errorCode(reply), code);
    QCOMPARE(reply.error->domain, u"QuillonHttpErrorDomain"_s);
    QVERIFY(reply.error->localizedDescription.endsWith(u'.'));
    QVERIFY(reply.body.startsWith(body));
    QVERIFY(time.elapsed() < 5000);

    // The same client goes on afterwards, and knows what is no address at all.
    peer.service.answer("GET /daily", {Reply{200, "<daily/>"}});
    QCOMPARE(client.send(get(peer.url("/daily")), {}).status, 200);
    QCOMPARE(errorCode(client.send(get("http://a b/daily"), {})), 3);
    QCOMPARE(errorCode(client.send(get("ftp://127.0.0.1/daily"), {})), 1);
    peer.service.stop();
    QCOMPARE(errorCode(client.send(get(peer.url("/daily")), {})), 7);
}

void HttpClientTest::redirectsAreFollowed_data()
{
    QTest::addColumn<int>("status");
    for (const int status : {301, 302, 303, 307, 308})
        QTest::addRow("%d", status) << status;
}

void HttpClientTest::redirectsAreFollowed()
{
    QFETCH(int, status);
    Peer peer;
    peer.service.answer("GET /here", {Reply::redirect("/there", status)});
    peer.service.answer("GET /there", {Reply{200, "arrived"}});
    HttpClient client;
    QCOMPARE(client.send(get(peer.url("/here")), {}).body, "arrived");
    QCOMPARE(peer.requests(), QStringList({u"GET /here"_s, u"GET /there"_s}));
    QCOMPARE(peer.service.requests().back().header("Authorization"), "Basic YTpi");

    // One that changes something goes nowhere, even where that is not said; nor does one that has no place to go.
    HttpRequest change = get(peer.url("/change"));
    change.changesSomething = true;
    const std::string signIn = "<!DOCTYPE html>";
    for (const HttpRequest& request : {change, post(peer.url("/change"))}) {
        peer.service.answer((request.method + " /change").toStdString(),
                            {Reply{status, signIn, {{"Location", "/there"}}}, Reply{status, signIn}});
        peer.service.forgetRequests();
        for (int n = 0; n < 2; ++n) {
            const HttpReply reply = client.send(request, {});
            QCOMPARE(errorCode(reply), 47);
            QCOMPARE(reply.body, QByteArray());
        }
        QCOMPARE(peer.requests().size(), 2);
    }
    peer.service.answer("GET /nowhere", {Reply{status}});
    QCOMPARE(client.send(get(peer.url("/nowhere")), {}).status, status);
}

void HttpClientTest::redirectsHaveALimit()
{
    Peer peer;
    peer.service.answer("GET /here", std::vector<Reply>(6, Reply::redirect("/here")));
    HttpClient client;
    QCOMPARE(errorCode(client.send(get(peer.url("/here")), {})), 47);
    QCOMPARE(peer.requests().size(), 6);

    peer.service.forgetRequests();
    peer.service.answer("GET /five", std::vector<Reply>(5, Reply::redirect("/five")));
    peer.service.answer("GET /five", {Reply{200, "arrived"}});
    QCOMPARE(client.send(get(peer.url("/five")), {}).body, "arrived");

    peer.service.answer("GET /away", {Reply::redirect("file:///etc/hostname"), Reply::redirect("http://")});
    QCOMPARE(errorCode(client.send(get(peer.url("/away")), {})), 1);
}

void HttpClientTest::credentialsStayWithTheirHost_data()
{
    QTest::addColumn<QStringList>("hosts");
    QTest::addColumn<QStringList>("sentTo");
    QTest::newRow("same host") << QStringList({u"acme"_s, u"acme"_s}) << QStringList({u"acme"_s, u"acme"_s});
    QTest::newRow("same host in capitals")
        << QStringList({u"acme"_s, u"ACME"_s}) << QStringList({u"acme"_s, u"ACME"_s});
    QTest::newRow("another host") << QStringList({u"acme"_s, u"globex"_s}) << QStringList(u"acme"_s);
    QTest::newRow("there and back") << QStringList({u"acme"_s, u"globex"_s, u"acme"_s}) << QStringList(u"acme"_s);
}

void HttpClientTest::credentialsStayWithTheirHost()
{
    QFETCH(QStringList, hosts);
    QFETCH(QStringList, sentTo);
    Peer peer;
    std::vector<Reply> replies;
    for (const QString& host : hosts.mid(1))
        replies.push_back(Reply::redirect(peer.location("/here", (host + ".localhost"_L1).toLatin1().constData())));
    replies.push_back(Reply{200, "arrived"});
    peer.service.answer("GET /here", replies);
    HttpClient client;
    QCOMPARE(client.send(get(peer.url("/here")), {}).body, "arrived");
    QStringList told;
    for (const localservice::Request& request : peer.service.requests()) {
        if (!request.header("Authorization").empty())
            told << QString::fromStdString(std::string(request.header("Host"))).section(u'.', 0, 0);
    }
    QCOMPARE(peer.requests().size(), hosts.size());
    QCOMPARE(told, sentTo);

    // The same machine, but somebody else's port.
    Peer other;
    other.service.answer("GET /here", {Reply{200, "arrived"}});
    peer.service.answer("GET /here", {Reply::redirect(other.location("/here"))});
    QCOMPARE(client.send(get(peer.url("/here")), {}).body, "arrived");
    QCOMPARE(other.service.requests().at(0).header("Authorization"), "");
}

void HttpClientTest::largestBody()
{
    Peer peer;
    constexpr std::size_t limit = 64 * 1024 * 1024;
    peer.service.answer("GET /huge", {Reply::huge(limit), Reply::huge(limit + 1)});
    HttpClient client(60s);
    HttpReply reply = client.send(get(peer.url("/huge")), {});
    QCOMPARE(errorCode(reply), 0);
    QCOMPARE(reply.body.size(), qsizetype(limit));
    reply = client.send(get(peer.url("/huge")), {});
    QCOMPARE(errorCode(reply), 63);
    QVERIFY(reply.body.isEmpty());
}

void HttpClientTest::changingRequestsAreNeverRepeated_data()
{
    QTest::addColumn<bool>("changes");
    QTest::addColumn<int>("code");
    QTest::addColumn<int>("arrived");
    QTest::newRow("changes something") << true << 52 << 1;
    // Harmless, and it saves the person a failure after each idle hour.
    QTest::newRow("reads") << false << 0 << 2;
}

void HttpClientTest::changingRequestsAreNeverRepeated()
{
    QFETCH(bool, changes);
    QFETCH(int, code);
    QFETCH(int, arrived);
    Peer peer;
    peer.service.answer("GET /first", {Reply{200, "leaves a connection open"}});
    peer.service.answer("GET /daily/timer/1", {Reply::closed(), Reply{200, "<timer/>"}});
    HttpClient client;
    QCOMPARE(client.send(get(peer.url("/first")), {}).status, 200);
    HttpRequest request = get(peer.url("/daily/timer/1"));
    request.changesSomething = changes;
    QCOMPARE(errorCode(client.send(request, {})), code);
    QCOMPARE(peer.requests().filter(u"timer"_s).size(), arrived);
}

void HttpClientTest::loopbackNeedsNoProxy()
{
    const Variable proxy("http_proxy", "http://127.0.0.1:1");
    Peer peer;
    peer.service.answer("GET /daily", {Reply{200, "<daily/>"}});
    HttpClient client;
    QCOMPARE(client.send(get(peer.url("/daily")), {}).status, 200);
    QCOMPARE(errorCode(client.send(get("http://quillon.invalid/daily"), {})), 7);
}

void HttpClientTest::secureConnections()
{
    SecurePeer secure;
    QVERIFY(secure.port > 0);
    Peer open;
    open.service.answer("GET /open", {Reply{200, "arrived"}});
    secure.serve(u"plain"_s, "HTTP/1.0 200 OK\r\n\r\narrived");
    secure.serve(u"down"_s, "HTTP/1.0 302 Found\r\nLocation: " + open.url("/open") + "\r\n\r\n");

    HttpClient client;
    QCOMPARE(errorCode(client.send(get(secure.url("/plain")), {})), 60);
    const Variable trusted("SSL_CERT_FILE", secure.certificate());
    QCOMPARE(client.send(get(secure.url("/plain")), {}).body, "arrived");

    QCOMPARE(errorCode(client.send(get(secure.url("/down")), {})), 1);
    open.service.answer("GET /up", {Reply::redirect(secure.url("/down").toStdString())});
    QCOMPARE(errorCode(client.send(get(open.url("/up")), {})), 1);
    QCOMPARE(open.requests(), QStringList(u"GET /up"_s));
}

void HttpClientTest::aTeamsOwnService()
{
    const SecurePeer secure;
    const Variable trusted("SSL_CERT_FILE", secure.certificate());
    auto tls = localservice::Tls::open({secure.certificate().toStdString(), secure.key().toStdString()});
    QVERIFY(tls);
    support::TestRun run;
    localservice::Service team({.dataFile = run.folders.path(u"team.sqlite"_s).toStdString(), .tls = std::move(*tls)});
    const auto port = team.start();
    QVERIFY(port);
    QVERIFY((*team.database())->ensureSampleAccount("ann@example.com", "team"));
    QVERIFY((*team.database())->setPassword("team", "ann@example.com", "sesame"));

    run.environment.information.set("QuillonServiceDomain"_L1, u".office.localhost:%1"_s.arg(*port));
    settings::QuillonPreferences& preferences = settings::QuillonPreferences::sharedPreferences();
    preferences.setUrl(u"https://team.office.localhost:%1"_s.arg(*port));
    QCOMPARE(preferences.fullUrl(), u"https://team.office.localhost:%1"_s.arg(*port));
    const HttpRequest request{.url = preferences.fullUrl().toUtf8() + "/account/who_am_i",
                              .authorization = "Basic " + QByteArray("ann@example.com:sesame").toBase64()};
    QCOMPARE(HttpClient().send(request, {}).status, 200);
}

void HttpClientTest::stopEndsTheWait()
{
    Peer peer;
    peer.service.answer("GET /daily", {Reply::hanging()});
    std::stop_source stop;
    HttpReply reply;
    QElapsedTimer time;
    {
        const std::jthread worker([&] { reply = HttpClient().send(get(peer.url("/daily")), stop.get_token()); });
        QTRY_COMPARE(peer.requests().size(), 1);
        time.start();
        stop.request_stop();
    }
    QVERIFY(time.elapsed() < 500);
    QCOMPARE(errorCode(reply), 42);
    QCOMPARE(reply.status, 0);
}

QTEST_GUILESS_MAIN(HttpClientTest)
#include "HttpClientTest.moc"
