#include "service/HttpClient.h"
#include "DesktopProxy.h"
#include "support/ServiceRun.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <future>
#include <thread>

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
using service::HttpClient;
using service::HttpReply;
using service::HttpRequest;
using support::Reply;
using support::ScriptedPeer;

namespace {

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
            "-days 2 -subj /CN=localhost -addext subjectAltName=DNS:localhost,DNS:time.example"_s);
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

/// An HTTP proxy on loopback; with a name and password it wants them.
class Proxy
{
public:
    explicit Proxy(const QStringList& passwords = {})
    {
        m_program.start(QStringLiteral(PYTHON), QStringList{QStringLiteral(PROXY)} + passwords);
        port = static_cast<std::uint16_t>(line().toUInt());
    }
    ~Proxy()
    {
        m_program.kill();
        m_program.waitForFinished();
    }

    QByteArray url(const QByteArray& password = {}) const
    {
        return "http://" + password + (password.isEmpty() ? "" : "@") + "127.0.0.1:" + QByteArray::number(port);
    }
    /// The next request that it was sent.
    QString line()
    {
        while (!m_program.canReadLine() && m_program.waitForReadyRead(30'000)) {
        }
        return QString::fromUtf8(m_program.readLine()).trimmed();
    }

    std::uint16_t port = 0;

private:
    QProcess m_program;
};

/// Runs GNOME's script for automatic configuration; without an answer it never ends.
class ScriptRunner final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.gtk.GLib.PACRunner")

public:
    ScriptRunner()
    {
        QDBusConnection bus = QDBusConnection::sessionBus();
        bus.registerObject(u"/org/gtk/GLib/PACRunner"_s, this, QDBusConnection::ExportAllSlots);
        bus.registerService(u"org.gtk.GLib.PACRunner"_s);
    }
    ~ScriptRunner() override { QDBusConnection::sessionBus().unregisterService(u"org.gtk.GLib.PACRunner"_s); }

    QStringList answer;
    QStringList asked;

public slots:
    QStringList Lookup(const QString& /*script*/, const QString& address, const QDBusMessage& call)
    {
        asked << address;
        call.setDelayedReply(answer.isEmpty());
        return answer;
    }
};

/// Sends on a thread of its own, while the event loop goes on.
HttpReply sendElsewhere(const HttpRequest& request, std::chrono::milliseconds timeout = 20s)
{
    auto reply = std::async(std::launch::async, [&] { return HttpClient(timeout).send(request, {}); });
    [&] { QTRY_VERIFY_WITH_TIMEOUT(reply.wait_for(0s) == std::future_status::ready, 20'000); }();
    return reply.get();
}

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
    void sendsWhatItIsGiven()
    {
        ScriptedPeer peer;
        peer.answer("POST /daily/add", {Reply{201, "<add/>"}});
        HttpClient client;
        HttpRequest request = post(peer.url("/daily/add?of=x"));
        request.headers = {{"Content-Type", "application/xml"}, {"X-Long", QByteArray(3000, 'x')}};
        request.body = QByteArray("a\0b", 3);
        QCOMPARE(client.send(request, {}).status, 201);

        const support::Request got = peer.requests().at(0);
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
        QCOMPARE(got.header("Host"), "acme.localhost:" + std::to_string(peer.port()));
    }

    void repliesOfAllKindsComeBack()
    {
        ScriptedPeer peer;
        HttpClient client;
        for (const int status : {200, 201, 304, 401, 404, 409, 410, 422, 500, 502, 503}) {
            const std::string body = status == 304 ? "" : "R\xc3\xa9ponse";
            peer.answer("GET /daily", {Reply{status, body, {{"X-Company-Cache-Version", "7"}}}});
            peer.forgetRequests();
            const HttpReply reply = client.send(get(peer.url("/daily")), {});
            QCOMPARE(errorCode(reply), 0);
            QCOMPARE(reply.status, status);
            QCOMPARE(reply.body.toStdString(), body);
            QCOMPARE(reply.header("x-company-CACHE-version"), "7");
            QCOMPARE(reply.header("X-Other"), std::nullopt);
            QCOMPARE(peer.asked(), QStringList(u"GET /daily"_s));
        }
    }

    void failuresOnTheWay()
    {
        const std::tuple<Reply, int, QByteArray> rows[] = {{Reply::closed(), 52, ""},
                                                           {Reply::hanging(), 28, ""},
                                                           {Reply::dripping(std::string(100, 'x'), 100ms), 28, ""},
                                                           {Reply::cut("Authentication"), 18, "Authent"}};
        ScriptedPeer peer;
        HttpClient client(400ms);
        for (const auto& [scripted, code, body] : rows) {
            peer.answer("GET /daily", {scripted});
            QElapsedTimer time;
            time.start();
            const HttpReply reply = client.send(get(peer.url("/daily")), {});
            QCOMPARE(errorCode(reply), code);
            QCOMPARE(reply.error->domain, u"QuillonHttpErrorDomain"_s);
            QVERIFY(reply.error->localizedDescription.endsWith(u'.'));
            QVERIFY(reply.body.startsWith(body));
            QVERIFY(time.elapsed() < 5000);
            // The same client goes on afterwards.
            peer.answer("GET /daily", {Reply{200, "<daily/>"}});
            QCOMPARE(client.send(get(peer.url("/daily")), {}).status, 200);
        }
        // It knows what is no address at all.
        QCOMPARE(errorCode(client.send(get("http://a b/daily"), {})), 3);
        QCOMPARE(errorCode(client.send(get("ftp://127.0.0.1/daily"), {})), 1);
        peer.stop();
        QCOMPARE(errorCode(client.send(get(peer.url("/daily")), {})), 7);
    }

    void redirectsAreFollowed()
    {
        for (const int status : {301, 302, 303, 307, 308}) {
            ScriptedPeer peer;
            peer.answer("GET /here", {Reply::redirect("/there", status)});
            peer.answer("GET /there", {Reply{200, "arrived"}});
            HttpClient client;
            QCOMPARE(client.send(get(peer.url("/here")), {}).body, "arrived");
            QCOMPARE(peer.asked(), QStringList({u"GET /here"_s, u"GET /there"_s}));
            QCOMPARE(peer.requests().back().header("Authorization"), "Basic YTpi");

            // One that changes something goes nowhere, even where that is not said.
            HttpRequest change = get(peer.url("/change"));
            change.changesSomething = true;
            const std::string signIn = "<!DOCTYPE html>";
            for (const HttpRequest& request : {change, post(peer.url("/change"))}) {
                peer.answer((request.method + " /change").toStdString(),
                            {Reply{status, signIn, {{"Location", "/there"}}}, Reply{status, signIn}});
                peer.forgetRequests();
                for (int n = 0; n < 2; ++n) {
                    const HttpReply reply = client.send(request, {});
                    QCOMPARE(errorCode(reply), 47);
                    QCOMPARE(reply.body, QByteArray());
                }
                QCOMPARE(peer.asked().size(), 2);
            }
            // Nor does one that is not told where to go.
            peer.answer("GET /nowhere", {Reply{status}});
            QCOMPARE(client.send(get(peer.url("/nowhere")), {}).status, status);
        }
    }

    void redirectsHaveALimit()
    {
        ScriptedPeer peer;
        peer.answer("GET /here", std::vector<Reply>(6, Reply::redirect("/here")));
        HttpClient client;
        QCOMPARE(errorCode(client.send(get(peer.url("/here")), {})), 47);
        QCOMPARE(peer.asked().size(), 6);

        peer.forgetRequests();
        peer.answer("GET /five", std::vector<Reply>(5, Reply::redirect("/five")));
        peer.answer("GET /five", {Reply{200, "arrived"}});
        QCOMPARE(client.send(get(peer.url("/five")), {}).body, "arrived");

        peer.answer("GET /away", {Reply::redirect("file:///etc/hostname"), Reply::redirect("http://")});
        QCOMPARE(errorCode(client.send(get(peer.url("/away")), {})), 1);
    }

    void credentialsStayWithTheirHost()
    {
        const std::pair<QStringList, QStringList> rows[] = {{{u"acme"_s, u"acme"_s}, {u"acme"_s, u"acme"_s}},
                                                            {{u"acme"_s, u"ACME"_s}, {u"acme"_s, u"ACME"_s}},
                                                            {{u"acme"_s, u"globex"_s}, {u"acme"_s}},
                                                            {{u"acme"_s, u"globex"_s, u"acme"_s}, {u"acme"_s}}};
        for (const auto& [hosts, sentTo] : rows) {
            ScriptedPeer peer;
            std::vector<Reply> replies;
            for (const QString& host : hosts.mid(1))
                replies.push_back(Reply::redirect(peer.url("/here", host.toLatin1() + ".localhost").toStdString()));
            replies.push_back(Reply{200, "arrived"});
            peer.answer("GET /here", replies);
            QCOMPARE(HttpClient().send(get(peer.url("/here")), {}).body, "arrived");
            QStringList told;
            for (const support::Request& request : peer.requests()) {
                if (!request.header("Authorization").empty())
                    told << QString::fromStdString(std::string(request.header("Host"))).section(u'.', 0, 0);
            }
            QCOMPARE(peer.asked().size(), hosts.size());
            QCOMPARE(told, sentTo);
        }
    }

    void credentialsStayWithTheirPort()
    {
        ScriptedPeer peer;
        ScriptedPeer other;
        other.answer("GET /here", {Reply{200, "arrived"}});
        peer.answer("GET /here", {Reply::redirect(other.url("/here").toStdString())});
        QCOMPARE(HttpClient().send(get(peer.url("/here")), {}).body, "arrived");
        QCOMPARE(other.requests().at(0).header("Authorization"), "");
    }

    void largestBody()
    {
        ScriptedPeer peer;
        constexpr std::size_t limit = 256 * 1024;
        const std::string unannounced = "40000\r\n" + std::string(limit, ' ') + "\r\n1\r\n \r\n0\r\n\r\n";
        peer.answer("GET /huge", {Reply{200, std::string(limit, ' ')}, Reply{200, std::string(limit + 1, ' ')},
                                  Reply{200, unannounced, {{"Transfer-Encoding", "chunked"}}}});
        HttpClient client(20s, limit);
        HttpReply reply = client.send(get(peer.url("/huge")), {});
        QCOMPARE(errorCode(reply), 0);
        QCOMPARE(reply.body.size(), qsizetype(limit));
        for (int i = 0; i < 2; ++i) {
            reply = client.send(get(peer.url("/huge")), {});
            QCOMPARE(errorCode(reply), 63);
            QVERIFY(reply.body.isEmpty());
        }
    }

    void changingRequestsAreNeverRepeated()
    {
        // One that reads may be: it saves the person a failure after each idle hour.
        for (const auto& [changes, code, arrived] : {std::tuple(true, 52, 1), {false, 0, 2}}) {
            ScriptedPeer peer;
            peer.answer("GET /first", {Reply{200, "leaves a connection open"}});
            peer.answer("GET /daily/timer/1", {Reply::closed(), Reply{200, "<timer/>"}});
            HttpClient client;
            QCOMPARE(client.send(get(peer.url("/first")), {}).status, 200);
            HttpRequest request = get(peer.url("/daily/timer/1"));
            request.changesSomething = changes;
            QCOMPARE(errorCode(client.send(request, {})), code);
            QCOMPARE(peer.asked().filter(u"timer"_s).size(), arrived);
        }
    }

    void loopbackNeedsNoProxy()
    {
        const Variable proxy("http_proxy", "http://127.0.0.1:1");
        ScriptedPeer peer;
        peer.answer("GET /daily", {Reply{200, "<daily/>"}});
        HttpClient client;
        QCOMPARE(client.send(get(peer.url("/daily")), {}).status, 200);
        setDesktopProxy(1);
        peer.answer("GET /daily", {Reply{200, "<daily/>"}});
        QCOMPARE(client.send(get(peer.url("/daily")), {}).status, 200);
        setDesktopProxy(0);
    }

    void goesThroughTheProxy()
    {
        // Of the environment, and of the desktop.
        for (const bool isDesktops : {false, true}) {
            Proxy proxy;
            // The desktop's comes before the environment's, whose exceptions are its own.
            const QByteArray named = isDesktops ? "http://127.0.0.1:1" : proxy.url();
            const Variable http("http_proxy", named);
            const Variable https("https_proxy", named);
            const Variable exceptions("no_proxy", isDesktops ? "time.example" : "");
            setDesktopProxy(isDesktops ? proxy.port : 0);

            ScriptedPeer peer;
            peer.answer("POST /daily/add", {Reply{201, "<add/>"}});
            HttpClient client;
            QCOMPARE(client.send(post(peer.url("/daily/add", "time.example")), {}).body, "<add/>");
            QCOMPARE(peer.requests().at(0).body, "<request/>");
            QCOMPARE(proxy.line(), u"POST http://time.example:%1/daily/add"_s.arg(peer.port()));

            const SecurePeer secure;
            const Variable trusted("SSL_CERT_FILE", secure.certificate());
            secure.serve(u"daily"_s, "HTTP/1.0 200 OK\r\n\r\narrived");
            const QByteArray origin = "time.example:" + QByteArray::number(secure.port);
            QCOMPARE(client.send(get("https://" + origin + "/daily"), {}).body, "arrived");
            QCOMPARE(proxy.line(), QString::fromUtf8("CONNECT " + origin));
            setDesktopProxy(0);
        }
    }

    void aScriptNamesTheProxies()
    {
        ScriptRunner runner;
        setDesktopProxyScript();
        Proxy proxy;
        ScriptedPeer peer;
        peer.answer("POST /daily/add", {Reply{201, "<add/>"}});
        runner.answer = {u"http://127.0.0.1:1"_s, QString::fromUtf8(proxy.url()), u"direct://"_s};
        const HttpReply added = sendElsewhere(post(peer.url("/daily/add", "time.example")));
        QVERIFY2(!added.error, added.error ? qPrintable(added.error->localizedDescription) : "");
        QCOMPARE(added.body, "<add/>");
        QCOMPARE(runner.asked, QStringList{u"http://time.example:%1/"_s.arg(peer.port())});
        QCOMPARE(peer.asked().size(), 1);

        // It has no end.
        runner.answer.clear();
        QElapsedTimer time;
        time.start();
        QCOMPARE(errorCode(sendElsewhere(get(peer.url("/daily", "time.example")), 300ms)), 28);
        QVERIFY(time.elapsed() < 4000);
        setDesktopProxy(0);
    }

    // What it says of itself is not the service's word, and nothing that it wants is a reason to sign in again.
    void aProxyThatWantsAPassword()
    {
        Proxy proxy({u"ann:sesame"_s});
        ScriptedPeer peer;
        const QByteArray open = peer.url("/daily", "time.example");
        QByteArray secure = open;
        secure.replace("http:", "https:");
        for (const char* password : {"", "ann:wrong"}) {
            const Variable http("http_proxy", proxy.url(password));
            const Variable https("https_proxy", proxy.url(password));
            for (const QByteArray& url : {open, secure}) {
                const HttpReply reply = HttpClient().send(get(url), {});
                QCOMPARE(errorCode(reply), 97);
                QVERIFY(reply.error->localizedDescription.contains("asks for a name and a password"_L1));
                QCOMPARE(reply.body, QByteArray());
            }
        }
        QCOMPARE(peer.asked(), QStringList());
        peer.answer("GET /daily", {Reply{200, "<daily/>"}});
        const Variable http("http_proxy", proxy.url("ann:sesame"));
        QCOMPARE(HttpClient().send(get(open), {}).body, "<daily/>");
    }

    void aProxyThatCannotHelp()
    {
        const auto sentence = [](const QByteArray& url) {
            const HttpReply reply = HttpClient().send(get(url), {});
            return reply.error ? reply.error->localizedDescription : QString();
        };
        {
            const Proxy proxy;
            setDesktopProxy(proxy.port);
            QCOMPARE(sentence("https://time.example:1/daily"),
                     u"The proxy refused the connection to the service with status 502."_s);
        }
        setDesktopProxy(1);
        QCOMPARE(sentence("https://time.example/daily"), u"The proxy 127.0.0.1:1 could not be reached."_s);
        setDesktopProxy(0);
        const Variable https("https_proxy", "http://127.0.0.1:1");
        QCOMPARE(sentence("https://time.example/daily"),
                 u"The service, or the proxy that the environment names for it, could not be reached."_s);
    }

    void secureConnections()
    {
        SecurePeer secure;
        QVERIFY(secure.port > 0);
        ScriptedPeer open;
        open.answer("GET /open", {Reply{200, "arrived"}});
        secure.serve(u"plain"_s, "HTTP/1.0 200 OK\r\n\r\narrived");
        secure.serve(u"down"_s, "HTTP/1.0 302 Found\r\nLocation: " + open.url("/open") + "\r\n\r\n");

        HttpClient client;
        QCOMPARE(errorCode(client.send(get(secure.url("/plain")), {})), 60);
        const Variable trusted("SSL_CERT_FILE", secure.certificate());
        QCOMPARE(client.send(get(secure.url("/plain")), {}).body, "arrived");

        QCOMPARE(errorCode(client.send(get(secure.url("/down")), {})), 1);
        open.answer("GET /up", {Reply::redirect(secure.url("/down").toStdString())});
        QCOMPARE(errorCode(client.send(get(open.url("/up")), {})), 1);
        QCOMPARE(open.asked(), QStringList(u"GET /up"_s));
    }

    void stopEndsTheWait()
    {
        ScriptedPeer peer;
        peer.answer("GET /daily", {Reply::hanging()});
        std::stop_source stop;
        HttpReply reply;
        QElapsedTimer time;
        {
            const std::jthread worker([&] { reply = HttpClient().send(get(peer.url("/daily")), stop.get_token()); });
            QTRY_COMPARE(peer.asked().size(), 1);
            time.start();
            stop.request_stop();
        }
        QVERIFY(time.elapsed() < 5000);
        QCOMPARE(errorCode(reply), 42);
        QCOMPARE(reply.status, 0);
    }
};

int main(int argc, char** argv)
{
    // Where the desktop's proxies are looked up, and that they are none of this machine's.
    qputenv("XDG_CURRENT_DESKTOP", "GNOME");
    qputenv("GSETTINGS_BACKEND", "memory");
    QCoreApplication application(argc, argv);
    HttpClientTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "HttpClientTest.moc"
