#include "Certificate.h"
#include "HttpClient.h"

#include "support/VerifyEach.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <csignal>
#include <curl/curl.h>
#include <future>
#include <openssl/ssl.h>
#include <sys/socket.h>

using namespace Qt::StringLiterals;

namespace {

/// One run of the program on a data file of the folder.
class Program
{
public:
    /// `within` is a command that runs it.
    explicit Program(const QTemporaryDir& folder, const QStringList& more = {}, const QStringList& within = {})
    {
        m_process.setProcessChannelMode(QProcess::MergedChannels);
        const auto command = within +
                             QStringList{QStringLiteral(SERVICE_PROGRAM), u"--port"_s, u"0"_s, u"--data"_s,
                                         folder.filePath(u"data.sqlite"_s)} +
                             more;
        m_process.start(command.first(), command.mid(1));
        waitFor(QByteArray());
    }

    ~Program() { end(SIGKILL); }

    /// Ends it by a signal; answers its exit status, -1 if the signal killed it.
    int end(int signal)
    {
        if (m_process.state() == QProcess::NotRunning)
            return m_process.exitCode();
        this->signal(signal);
        m_process.waitForFinished();
        return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
    }

    void signal(int number) { ::kill(static_cast<pid_t>(m_process.processId()), number); }

    /// Waits until it has said that, or its address.
    bool waitFor(const QByteArray& text)
    {
        while ((text.isEmpty() ? address().isEmpty() : !m_output.contains(text)) && m_process.waitForReadyRead())
            m_output += m_process.readAll();
        return m_output.contains(text);
    }

    QString process() const { return QString::number(m_process.processId()); }
    QString address() const { return line(u"http"_s); }
    QString quillon() const { return line(u"  Quillon"_s); }
    QString email() const { return line(u"  email"_s).section(u' ', -1); }
    QString password() const { return line(u"  password"_s).section(u' ', -1); }

private:
    QString line(const QString& start) const
    {
        for (const auto& line : QString::fromUtf8(m_output).split(u'\n')) {
            if (line.startsWith(start))
                return line;
        }
        return {};
    }

    QProcess m_process;
    QByteArray m_output;
};

/// A client that speaks TLS without minding its manners.
class TlsClient
{
public:
    explicit TlsClient(const QString& address)
    {
        BIO_get_ssl(m_connection, &m_session);
        BIO_set_conn_hostname(m_connection, ("127.0.0.1:" + address.section(u':', -1).toLatin1()).constData());
        BIO_do_handshake(m_connection);
    }
    ~TlsClient()
    {
        BIO_free_all(m_connection);
        SSL_CTX_free(m_context);
    }
    TlsClient(const TlsClient&) = delete;
    TlsClient& operator=(const TlsClient&) = delete;

    /// False when the service has ended the connection.
    bool changeKey()
    {
        return SSL_key_update(m_session, SSL_KEY_UPDATE_NOT_REQUESTED) == 1 && SSL_do_handshake(m_session) == 1;
    }
    bool say(const QByteArray& text) { return SSL_write(m_session, text.constData(), int(text.size())) > 0; }
    QByteArray read()
    {
        QByteArray some(1000, '\0');
        some.resize(std::max(0, SSL_read(m_session, some.data(), int(some.size()))));
        return some;
    }
    /// Takes no answer: first it says that nothing more comes, and then it is gone.
    void vanish()
    {
        const int socket = SSL_get_fd(m_session);
        ::shutdown(socket, SHUT_WR);
        const linger none{1, 0};
        ::setsockopt(socket, SOL_SOCKET, SO_LINGER, &none, sizeof none);
    }

private:
    SSL_CTX* const m_context = SSL_CTX_new(TLS_client_method());
    BIO* const m_connection = BIO_new_ssl_connect(m_context);
    SSL* m_session = nullptr;
};

/// A command that runs another one on a network of its own, which looks as `setUp` makes it.
QStringList onNetwork(const QString& setUp)
{
    return {u"unshare"_s, u"-rn"_s, u"sh"_s, u"-c"_s, u"ip link set lo up; "_s + setUp + u"; exec \"$@\""_s, u"sh"_s};
}

QByteArray hourWithNote(const QString& note)
{
    return requestBody(u"project_id=1 task_id=1 hours=1 notes="_s + note);
}

} // namespace

class LocalServiceProgramTest : public QObject
{
    Q_OBJECT

private slots:
    void tellsHowToSignInOnce()
    {
        QTemporaryDir folder;
        Program first(folder);
        QVERIFY(first.address().startsWith(u"http://127.0.0.1:"_s));
        const auto email = first.email();
        const auto password = first.password();
        QCOMPARE(HttpClient(first.address(), email, password).get(u"/daily"_s).status, 200);
        for (const int signal : {SIGTERM, SIGINT}) {
            Program next(folder);
            QCOMPARE(next.password(), QString());
            QCOMPARE(HttpClient(next.address(), email, password).get(u"/daily"_s).status, 200);
            QCOMPARE(next.end(signal), 0);
        }
        Program reset(folder, {u"--reset-password"_s});
        QCOMPARE(HttpClient(reset.address(), email, password).get(u"/daily"_s).status, 401);
        QCOMPARE(HttpClient(reset.address(), reset.email(), reset.password()).get(u"/daily"_s).status, 200);
    }

    void restoresACopy()
    {
        QTemporaryDir folder;
        const QString file = folder.filePath(u"data.sqlite"_s);
        const auto run = [&](const QStringList& more) {
            QProcess process;
            process.setProcessChannelMode(QProcess::MergedChannels);
            process.start(QStringLiteral(SERVICE_PROGRAM), QStringList{u"--data"_s, file} + more);
            process.waitForFinished();
            return QString::number(process.exitCode()) + u' ' + QString::fromUtf8(process.readAll());
        };
        QCOMPARE(run({u"--restore"_s}), u"0 There are no copies in %1-backups\n"_s.arg(file.chopped(7)));
        QString email;
        QString password;
        {
            Program program(folder);
            email = program.email();
            password = program.password();
            program.end(SIGTERM);
        }
        const QString name = run({u"--restore"_s}).section(u' ', 1, 1);
        QVERIFY2(name.startsWith(u"data-20"_s), qPrintable(name));
        const auto entries = [&](const Program& program) {
            return HttpClient(program.address(), email, password).get(u"/daily?slim=1"_s).texts(u"notes"_s);
        };
        // While somebody uses the data.
        Program program(folder);
        HttpClient(program.address(), email, password).post(u"/daily/add"_s, hourWithNote(u"x"_s));
        QCOMPARE(entries(program), (QStringList{u""_s, u"x"_s}));
        const QString said = run({u"--restore="_s + name});
        QVERIFY2(said.startsWith(u"0 Restored "_s + name), qPrintable(said));
        QCOMPARE(entries(program), QStringList{u""_s});
        const QString replaced = said.trimmed().section(u' ', -1).chopped(1);
        QVERIFY(run({u"--restore"_s}).contains(replaced));
        QCOMPARE(run({u"--restore"_s, u"no.sqlite"_s}), u"1 quillon-service: there is no copy no.sqlite\n"_s);
        program.end(SIGTERM);
        // Data that cannot even be opened are put aside.
        QFile damaged(file);
        QVERIFY(damaged.open(QFile::ReadWrite));
        QCOMPARE(damaged.write(QByteArray(4096, '?')), qint64(4096));
        damaged.close();
        QVERIFY2(run({u"--restore"_s, replaced}).contains(file + u".damaged."_s), "");
        Program again(folder);
        QCOMPARE(entries(again), (QStringList{u""_s, u"x"_s}));
        QCOMPARE(again.end(SIGTERM), 0);
    }

    void saysThatItsFileIsGone()
    {
        QTemporaryDir folder;
        Program program(folder);
        HttpClient client(program.address(), program.email(), program.password());
        const QString file = folder.filePath(u"data.sqlite"_s);
        QVERIFY(QFile::rename(file, file + u".away"_s));
        QCOMPARE(client.post(u"/daily/add"_s, hourWithNote(u"x"_s)).status, 500);
        QVERIFY(
            program.waitFor("quillon-service: " + file.toUtf8() + ": Nothing can be saved: the data file was moved"));
        QVERIFY(QFile::rename(file + u".away"_s, file));
        QCOMPARE(client.post(u"/daily/add"_s, hourWithNote(u"x"_s)).status, 200);
        QVERIFY(program.waitFor("quillon-service: " + file.toUtf8() + ": changes are saved again\n"));
        QCOMPARE(program.end(SIGTERM), 0);
    }

    void explainsItself_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("says");
        QTest::newRow("help") << QStringList{u"--help"_s} << 0 << u"Usage: quillon-service [options]"_s;
        QTest::newRow("version") << QStringList{u"--version"_s} << 0 << u"quillon-service " QUILLON_VERSION ""_s;
        const auto refused = [](const QString& arguments, const QString& says, int status = 2) {
            QTest::newRow(qPrintable(says)) << arguments.split(u' ') << status << u"quillon-service: "_s + says;
        };
        refused(u"--bind 0.0.0.0"_s,
                u"--bind 0.0.0.0 needs --tls-certificate and --tls-key: without encryption the service stays on this "
                "machine"_s);
        refused(u"--bind=office.example"_s, u"--bind needs an address in numbers, such as 192.0.2.7, 0.0.0.0 or ::"_s);
        refused(u"--bind=[::] --tls-certificate=x"_s, u"--tls-certificate and --tls-key go together"_s);
        for (const auto& name : {u"-team"_s, u"team.office"_s})
            refused(u"--account "_s + name, u"--account needs a name of letters, digits and hyphens, such as team"_s);
        refused(u"--port=65536"_s, u"--port needs a number from 0 to 65535"_s);
        refused(u"--data"_s, u"--data needs a value"_s);
        refused(u"--bnid"_s, u"unknown option --bnid"_s);
        refused(u"--data=/dev/null/x"_s, u"cannot open /dev/null/x: Not a directory"_s, 1);
        static const Certificate good;
        static const Certificate other;
        static const Certificate locked({u"DNS:x"_s}, u"secret"_s);
        static const Certificate old;
        old.expire();
        const auto today = QDateTime::currentDateTimeUtc().date().toString(Qt::ISODate);
        const auto unfit = [&](const QString& certificate, const QString& key, const QString& says) {
            refused(u"--data=/dev/null/x --tls-certificate %1 --tls-key %2"_s.arg(certificate, key), says, 1);
        };
        unfit(u"/no/file"_s, good.key(), u"cannot read /no/file: No such file or directory"_s);
        unfit(good.key(), good.key(), u"%1 holds no PEM certificate"_s.arg(good.key()));
        unfit(good.file(), good.file(), u"%1 holds no PEM key"_s.arg(good.file()));
        unfit(good.file(), other.key(),
              u"the key in %1 does not belong to the certificate in %2"_s.arg(other.key(), good.file()));
        unfit(locked.file(), locked.key(),
              u"%1 has a passphrase: the service needs a key without one"_s.arg(locked.key()));
        unfit(old.file(), old.key(), u"the certificate in %1 ended on %2"_s.arg(old.file(), today));
    }

    void explainsItself()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, status);
        QFETCH(QString, says);
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(QStringLiteral(SERVICE_PROGRAM), arguments);
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.exitCode(), status);
        const auto lines = QString::fromUtf8(process.readAll()).split(u'\n');
        QCOMPARE(lines.first(), says);
        QVERIFY(status == 0 || lines.size() == 2);
    }

    void servesATeam()
    {
        const QStringList hosts{u"DNS:*.office.localhost"_s};
        const Certificate first(hosts);
        const Certificate second(hosts);
        const Certificate used(hosts);
        first.replace(used);
        QTemporaryDir folder;
        Program program(folder,
                        {u"--bind"_s, u"0.0.0.0"_s, u"--account"_s, u"team"_s, u"--first-email=ann@office.example"_s,
                         u"--tls-certificate"_s, used.file(), u"--tls-key"_s, used.key()});
        const auto port = program.address().section(u':', -1);
        QCOMPARE(program.address(), u"https://team.office.localhost:"_s + port);
        QCOMPARE(program.email(), u"ann@office.example"_s);
        QVERIFY(program.quillon().contains(u"{\"QuillonServiceDomain\": \".office.localhost:%1\"}"_s.arg(port)));
        const auto knock = [&](const Certificate& trusted) {
            HttpClient client(program.address(), program.email(), program.password());
            client.trusted = trusted.file();
            const auto answer = client.get(u"/daily"_s);
            return answer.error ? -answer.error : answer.status;
        };
        QCOMPARE(knock(first), 200);
        QCOMPARE(knock(second), -int(CURLE_PEER_FAILED_VERIFICATION));

        second.replace(used);
        QCOMPARE(knock(first), 200);
        program.signal(SIGHUP);
        QVERIFY(program.waitFor("certificate and key reloaded"));
        QCOMPARE(knock(second), 200);
        QCOMPARE(knock(first), -int(CURLE_PEER_FAILED_VERIFICATION));

        QVERIFY(QFile::remove(used.key()));
        program.signal(SIGHUP);
        QVERIFY(program.waitFor("No such file or directory; still using the previous certificate"));
        QCOMPARE(knock(second), 200);
        QCOMPARE(program.end(SIGTERM), 0);
    }

    void outlivesRudeClients()
    {
        const Certificate certificate;
        const QTemporaryDir folder;
        Program program(folder, {u"--tls-certificate"_s, certificate.file(), u"--tls-key"_s, certificate.key()});
        // Not before: the program would inherit it.
        std::signal(SIGPIPE, SIG_IGN);
        // A wrong password is looked into for long enough.
        const QByteArray request = "GET /daily HTTP/1.1\r\nHost: local\r\nAuthorization: Basic eDp5\r\n\r\n";
        for (int i = 0; i < 3; ++i) {
            TlsClient client(program.address());
            QVERIFY(client.say(request));
            client.vanish();
        }
        TlsClient polite(program.address());
        for (int i = 0; i < 40; ++i) {
            VERIFY_EACH(polite.changeKey(), polite.say(request));
            QVERIFY(polite.read().startsWith("HTTP/1.1 4"));
        }

        std::atomic<bool> isOver = false;
        std::atomic<int> ended = 0;
        std::vector<std::future<void>> clients;
        for (int i = 0; i < 4; ++i) {
            clients.push_back(std::async(std::launch::async, [&] {
                while (!isOver) {
                    TlsClient client(program.address());
                    while (!isOver && client.changeKey()) {
                    }
                    ++ended;
                }
            }));
        }
        // None of them keeps a thread.
        const bool areEnded = QTest::qWaitFor([&] { return ended > 20; });
        QElapsedTimer timer;
        timer.start();
        const int status = program.end(SIGTERM);
        const auto elapsed = timer.elapsed();
        isOver = true;
        clients.clear();
        QVERIFY(areEnded);
        QCOMPARE(status, 0);
        QVERIFY2(elapsed < 2000, QByteArray::number(elapsed));
    }

    void takesWhatTheMachineHas()
    {
        if (QProcess::execute(u"unshare"_s, {u"-rn"_s, u"true"_s}) != 0)
            QSKIP("no network of its own to be had here");
        const QTemporaryDir folder;
        Program four(folder, {}, onNetwork(u"ip -6 address delete ::1/128 dev lo"_s));
        QVERIFY2(four.address().startsWith(u"http://127.0.0.1:"_s), qPrintable(four.address()));
        QCOMPARE(four.end(SIGTERM), 0);
        Program none(folder, {u"--bind=::1"_s}, onNetwork(u"echo 1 > /proc/sys/net/ipv6/conf/all/disable_ipv6"_s));
        QVERIFY(none.waitFor("cannot listen on [::1]:0: Cannot assign requested address"));

        // There are two ports, and one of them is somebody else's at the address that is not asked for first.
        const Program other(folder, {u"--bind=::1"_s},
                            onNetwork(u"echo 40000 40001 > /proc/sys/net/ipv4/ip_local_port_range;"
                                      " ip address delete 127.0.0.1/8 dev lo"_s));
        QVERIFY2(other.address().startsWith(u"http://[::1]:4000"_s), qPrintable(other.address()));
        const QTemporaryDir second;
        const Program own(second, {},
                          {u"nsenter"_s, u"--preserve-credentials"_s, u"-U"_s, u"-n"_s, u"-t"_s, other.process(),
                           u"sh"_s, u"-c"_s, u"ip address add 127.0.0.1/8 dev lo; exec \"$@\""_s, u"sh"_s});
        QVERIFY2(own.address().startsWith(u"http://127.0.0.1:4000"_s), qPrintable(own.address()));
        QVERIFY(own.address().last(1) != other.address().last(1));
    }
};

QTEST_GUILESS_MAIN(LocalServiceProgramTest)
#include "LocalServiceProgramTest.moc"
