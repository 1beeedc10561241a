#include "Scenario.h"

#include "localservice/SignInThrottle.h"

#include "support/VerifyEach.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QTest>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

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
    void passwordsChangeAtOnce()
    {
        Scenario s;
        QCOMPARE(s.today().status, 200);
        QElapsedTimer timer;
        timer.start();
        QVERIFY(s.database().setPassword("acme", "ann@example.com", "näw: 1"));
        const qint64 hash = timer.nsecsElapsed();
        QCOMPARE(s.today().status, 401);
        QCOMPARE(s.client(s.acme, u"näw: 1"_s)->get(u"/daily"_s).status, 200);
        QVERIFY(!s.database().setPassword("acme", "bob@example.com", "x"));

        const auto client = s.client(s.acme, u"näw: 1"_s);
        client->get(u"/daily?slim=1"_s);
        timer.start();
        for (int i = 0; i < 100; ++i)
            client->get(u"/account/who_am_i"_s);
        // A slow hash for each request, or a delayed acknowledgement, would cost more.
        QVERIFY2(timer.nsecsElapsed() < 30 * hash, QByteArray::number(timer.elapsed()));
    }

    void slowsGuessingDown()
    {
        Scenario s;
        const auto tryWith = [&s](const QString& password) {
            return s.client(s.acme, password)->get(u"/daily?slim=1"_s);
        };
        for (int i = 0; i < 13; ++i)
            QCOMPARE(tryWith(i == 2 ? u"secret"_s : QString::number(i)).status, i == 2 ? 200 : 401);
        // Not even the right password tells anything now. The body is the one by which programs know that they are out.
        const auto refused = tryWith(u"secret"_s);
        QCOMPARE(refused.status, 429);
        QCOMPARE(refused.headers.value(u"retry-after"_s), u"900"_s);
        QCOMPARE(refused.body, "Authentication failed for API request.");
        QVERIFY(!refused.headers.contains(u"x-company-cache-version"_s));
        s.pass(15min);
        QCOMPARE(tryWith(u"secret"_s).status, 200);
    }

    void throttleCountsWhatIsNew()
    {
        std::chrono::system_clock::time_point now{};
        localservice::SignInThrottle throttle([&now] { return now; });
        const auto wait = [&](const std::string& password) {
            return throttle.tryAgainIn("192.0.2.1", {}, "ann@example.com", password).value_or(0s);
        };
        for (int i = 0; i < 11; ++i)
            QCOMPARE(wait("old password of a program"), 0s);
        now += 5min;
        for (int i = 0; i < 9; ++i)
            QCOMPARE(wait(std::to_string(i)), 0s);
        QCOMPARE(wait("right"), 600s);
        now += 599s;
        QCOMPARE(wait("right"), 1s);
        now += 1s;
        QCOMPARE(wait("another"), 0s);
        QCOMPARE(wait("right"), 300s);
        now += 5min;
        QCOMPARE(wait("right"), 0s);
        // Who is in has a fresh start.
        throttle.succeeded("192.0.2.1", {}, "ann@example.com");
        for (int i = 0; i < 10; ++i)
            QCOMPARE(wait(std::to_string(i)), 0s);
    }

    void throttleKeepsPeopleApart()
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
        VERIFY_EACH(blocked("192.0.2.1", "Ann@Example.com"), !blocked("192.0.2.2", "ann@example.com"));
        for (int i = 0; i < 40; ++i)
            QVERIFY(!blocked("192.0.2.1", ("guess" + std::to_string(i)).c_str(), "123456"));
        VERIFY_EACH(blocked("192.0.2.1", "somebody@example.com"), !blocked("192.0.2.1", "ben@example.com"));
        for (int i = 0; i < 10; ++i)
            QVERIFY(!blocked(("2001:db8::" + std::to_string(i)).c_str(), "ann@example.com", std::to_string(i)));
        VERIFY_EACH(blocked("2001:db8::ffff", "ann@example.com"), !blocked("2001:db8:0:1::1", "ann@example.com"));
        // Whoever can be many users of a machine has no more tries for it.
        for (uid_t user = 0; user < 50; ++user)
            QVERIFY(!throttle.tryAgainIn("127.0.0.1", user, "ann@example.com", std::to_string(user)));
        QVERIFY(throttle.tryAgainIn("127.0.0.1", 50, "ann@example.com", "right"));
        // A clock that is set back blocks nobody for longer than the window.
        now -= 24h;
        QVERIFY(!blocked("192.0.2.1", "ann@example.com"));
    }

    void listensOnLoopbackOnly()
    {
        QTemporaryDir folder;
        for (const auto* address : {"0.0.0.0", "::", "192.168.1.1", "example.com", ""}) {
            localservice::Service service({.dataFile = folder.filePath(u"x"_s).toStdString(), .address = address});
            QVERIFY2(!service.start(), address);
        }
        QVERIFY(!QFileInfo::exists(folder.filePath(u"x"_s)));
    }

    void listensOnBothLoopbacks()
    {
        const auto taken = squat(0);
        if (taken == 0)
            QSKIP("this machine has no [::1]");
        const bool isRoot = ::geteuid() == 0;
        for (const auto* address : {"127.0.0.1", "::1", "0:0:0:0:0:0:0:1"}) {
            QTemporaryDir folder;
            localservice::Service::Options options{.dataFile = folder.filePath(u"x"_s).toStdString(),
                                                   .address = address};
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

    void sharesNoPort()
    {
        Scenario s;
        localservice::Service second({.dataFile = s.folder.filePath(u"other"_s).toStdString(), .port = portOf(s)});
        const auto started = second.start();
        QVERIFY(!started);
        QVERIFY2(QString::fromStdString(started.error()).contains(u"Address already in use"_s),
                 started.error().c_str());
    }

    void keepsItsFileToItself()
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
        VERIFY_EACH(bytes.contains("ann@example.com"), !bytes.contains("secret"));
    }

    void samplesAreMadeOnce()
    {
        QTemporaryDir folder;
        localservice::Service service({.dataFile = folder.filePath(u"new/x.sqlite"_s).toStdString()});
        const auto database = service.database();
        QVERIFY(database);
        const auto first = (*database)->ensureSampleAccount("me@example.com");
        VERIFY_EACH(first, first->password);
        QCOMPARE(first->password->size(), std::size_t(20));
        const auto second = (*database)->ensureSampleAccount("other@example.com");
        VERIFY_EACH(second, !second->password);
        QCOMPARE(second->email, "me@example.com");
        QCOMPARE(second->account, first->account);

        QVERIFY(service.start());
        HttpClient client(QString::fromStdString(service.url("local")), u"me@example.com"_s,
                          QString::fromStdString(*first->password));
        const auto sheet = client.get(u"/daily"_s);
        QCOMPARE(sheet.texts(u"code"_s).size(), 5);
        // And one entry without time, so that there is a timer to start.
        QCOMPARE(sheet.texts(u"hours"_s), QStringList{u"0.0"_s});
        VERIFY_EACH(sheet.texts(u"code"_s).contains(QString()), sheet.texts(u"code"_s).contains(u"JB-01"_s));
        VERIFY_EACH(sheet.texts(u"billable"_s).contains(u"true"_s), sheet.texts(u"billable"_s).contains(u"false"_s));
        // One account is told by its bare address too.
        QCOMPARE(client.send("GET", u"/daily"_s, {}, {u"Host: 127.0.0.1:1"_s}).status, 200);
        QVERIFY((*database)->setPassword("local", "me@example.com", "mine"));
        QCOMPARE(client.get(u"/daily"_s).status, 401);
    }

    void theProgramSignsInBesideItsOwner()
    {
        QTemporaryDir folder;
        localservice::Service service(
            {.dataFile = folder.filePath(u"x.sqlite"_s).toStdString(), .ownerPassword = "made for this run"});
        const auto database = service.database();
        QVERIFY(database);
        const auto sample =
            (*database)->ensureSampleAccount("me@localhost", "local", localservice::FirstPassword::None);
        VERIFY_EACH(sample, !sample->password, !sample->hasPassword);
        const auto bob = support::TestData(**database).addPerson({sample->account, "bob@localhost", "secret of bob"});
        VERIFY_EACH(bob, service.start());
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

    void refusesUnusableFiles()
    {
        QTemporaryDir folder;
        const auto start = [](const QString& file) {
            localservice::Service service({.dataFile = file.toStdString()});
            const auto started = service.start();
            return started ? QString() : QString::fromStdString(started.error());
        };
        QFile text(folder.filePath(u"text"_s));
        QVERIFY(text.open(QFile::WriteOnly));
        QCOMPARE(text.write(QByteArray(5000, 'x')), qint64(5000));
        text.close();
        QCOMPARE(start(text.fileName()), u"cannot use %1: file is not a database"_s.arg(text.fileName()));
        QCOMPARE(start(folder.path()), u"cannot open %1: Is a directory"_s.arg(folder.path()));

        const auto newer = folder.filePath(u"newer"_s);
        QVERIFY(start(newer).isEmpty());
        QFile file(newer);
        // The version number of the schema stands at byte 60 of an SQLite file.
        VERIFY_EACH(file.open(QFile::ReadWrite), file.seek(63), file.putChar(99));
        file.close();
        QCOMPARE(start(newer), u"cannot use %1: it was written by a newer version of the service"_s.arg(newer));
    }
};

QTEST_GUILESS_MAIN(LocalServiceTest)
#include "LocalServiceTest.moc"
