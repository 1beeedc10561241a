#include "support/ScriptedPeer.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

/// The program itself, in folders of its own.
class Program
{
public:
    explicit Program(const QStringList& arguments = {}) : m_arguments(arguments)
    {
        environment.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR"})
            environment.insert(QString::fromLatin1(name), folder.path());
        // Without a bus: the starts of one test must not find those of another.
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path="_s + folder.filePath(u"none"_s));
        for (const char* name : {"QUILLON_INFO", "http_proxy", "https_proxy", "all_proxy"})
            environment.remove(QString::fromLatin1(name));
        process.setReadChannel(QProcess::StandardError);
    }
    ~Program()
    {
        if (process.state() != QProcess::NotRunning) {
            process.kill();
            process.waitForFinished();
        }
    }

    void start()
    {
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(QUILLON), m_arguments);
        QVERIFY(process.waitForStarted());
    }
    int run()
    {
        start();
        return process.waitForFinished() && process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }
    void removeDisplays()
    {
        for (const char* name : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"})
            environment.remove(QString::fromLatin1(name));
    }
    QString file(const QString& name, const QByteArray& content)
    {
        QFile written(folder.filePath(name));
        return written.open(QIODevice::WriteOnly) && written.write(content) == content.size() ? written.fileName()
                                                                                              : QString();
    }

    QTemporaryDir folder;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    QProcess process;

private:
    QStringList m_arguments;
};

/// Whether the helper has asked to be told of another process's end.
bool waits(const QProcess& helper)
{
    for (const QFileInfo& open :
         QDir(u"/proc/%1/fd"_s.arg(helper.processId())).entryInfoList(QDir::AllEntries | QDir::System)) {
        if (open.symLinkTarget().endsWith("[pidfd]"_L1))
            return true;
    }
    return false;
}

} // namespace

class ProgramTest : public QObject
{
    Q_OBJECT
private slots:
    void answersWithoutADisplay()
    {
        const QByteArray none;
        for (const auto& [argument, status, output, error] :
             {std::tuple(u"--help"_s, 0, QByteArray("Usage: quillon"), none),
              {u"--version"_s, 0, "quillon " QUILLON_VERSION "\n", none},
              {u"--lokal"_s, 2, none, "quillon: there is no option \"--lokal\""},
              {u"--local"_s, 1, none, "quillon: there is no display"},
              {u"\u001b[31m\n\u009b"_s, 2, none, "quillon: there is no command \"\\u{1b}[31m\\u{a}\\u{9b}\" ("}}) {
            Program program({argument});
            program.removeDisplays();
            QCOMPARE(program.run(), status);
            const QByteArray said = program.process.readAllStandardOutput();
            const QByteArray complained = program.process.readAllStandardError();
            QVERIFY2(said.startsWith(output) && said.isEmpty() == output.isEmpty(), said);
            QVERIFY2(complained.startsWith(error) && complained.isEmpty() == error.isEmpty(), complained);
            QVERIFY2(complained.count('\n') <= 1, complained);
        }
    }

    void displaysThatLeadNowhere()
    {
        for (const auto& [variable, value] : {std::pair(u"DISPLAY"_s, u":4711"_s),
                                              {u"DISPLAY"_s, u"\u001b[31m"_s},
                                              {u"WAYLAND_DISPLAY"_s, u"wayland-4711"_s},
                                              {u"QT_QPA_PLATFORM"_s, u"nonsense"_s}}) {
            for (const QStringList& arguments : {QStringList(), QStringList(u"--check"_s)}) {
                Program program(arguments);
                program.removeDisplays();
                program.environment.insert(variable, value);
                QCOMPARE(program.run(), 1);
                const QByteArray complaint = program.process.readAllStandardError();
                const QByteArray page = program.process.readAllStandardOutput();
                QCOMPARE(complaint + page.mid(page.lastIndexOf("!! ") + 3),
                         (arguments.isEmpty() ? QByteArray("quillon: ") : QByteArray("Status item  ")) +
                             "no display can be opened: look at DISPLAY, WAYLAND_DISPLAY and QT_QPA_PLATFORM\n");
            }
        }
    }

    void missingInfoFile()
    {
        for (const bool byVariable : {false, true}) {
            const QString name = u"/nowhere/info.json"_s;
            Program program(byVariable ? QStringList() : QStringList({u"--info"_s, name}));
            program.environment.insert(u"QUILLON_INFO"_s, byVariable ? name : u"/elsewhere.json"_s);
            QCOMPARE(program.run(), 2);
            const QByteArray complaint = program.process.readAllStandardError();
            QCOMPARE(complaint.count('\n'), 1);
            QVERIFY2(complaint.contains(name.toLocal8Bit()), complaint);
            QVERIFY(program.process.readAllStandardOutput().isEmpty());
        }
    }

    void keepsTheDayInTheBuiltInService()
    {
        Program program({u"--local"_s});
        // Off screen Qt warns of what such windows cannot do; the program's own words are no log messages.
        program.environment.insert(u"QT_LOGGING_RULES"_s, u"default.warning=false"_s);
        program.start();
        const QString store = program.folder.filePath(u"Quillon/QuillonX.sqlite"_s);
        const QString data = program.folder.filePath(u"Quillon/LocalService.sqlite"_s);
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(store) && QFile::exists(data), 20000);
        QCOMPARE(QFile::permissions(data) & (QFile::ReadGroup | QFile::ReadOther), QFile::Permissions());
        const QDir copies(program.folder.filePath(u"Quillon/LocalService-backups"_s));
        QTRY_COMPARE(copies.entryList({u"*.sqlite"_s}).size(), 1);
        program.process.terminate();
        QVERIFY(program.process.waitForFinished());
        QCOMPARE(program.process.exitCode(), 0);
        QCOMPARE(program.process.readAllStandardError(), QByteArray());
        // Nothing of the built-in account reaches the settings.
        QFile settings(program.folder.filePath(u"Quillon/Quillon.conf"_s));
        QVERIFY(!settings.open(QIODevice::ReadOnly) || !settings.readAll().contains("localhost"));
    }

    void endsAtOnceWhateverTheServiceDoes()
    {
        support::ScriptedPeer peer;
        peer.answer("GET /account/who_am_i", {support::Reply::hanging()});

        Program program;
        program.environment.insert(
            u"QUILLON_INFO"_s,
            program.file(u"info.json"_s, "{\"QuillonLocalDebug\": true, \"QuillonDevelopmentDomain\": \".localhost:" +
                                             QByteArray::number(peer.port()) + "\"}"));
        QVERIFY(QDir(program.folder.path()).mkdir(u"Quillon"_s));
        program.file(u"Quillon/Quillon.conf"_s, "[General]\nQuillonUrl=acme\nEmail=ann@example.com\n");
        program.start();
        QTRY_COMPARE_WITH_TIMEOUT(peer.requests().size(), std::size_t(1), 20000);
        QElapsedTimer quitting;
        quitting.start();
        program.process.terminate();
        QVERIFY(program.process.waitForFinished());
        QVERIFY(quitting.elapsed() < 5000);
        QCOMPARE(program.process.exitCode(), 0);
    }

    void secondStartMakesWay()
    {
        Program first({u"--local"_s});
        first.start();
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(first.folder.filePath(u"Quillon/QuillonX.sqlite"_s)), 20000);
        Program second({u"--local"_s});
        second.environment = first.environment;
        QCOMPARE(second.run(), 0);
        QCOMPARE(first.process.state(), QProcess::Running);
    }

    void relaunchWaitsForTheEnd()
    {
        // By itself, by a crash, and before anybody waited.
        for (const QString& end : {u"exit"_s, u"crash"_s, u"early"_s}) {
            QProcess running;
            running.start(u"cat"_s, QStringList()); // runs until its input ends
            QVERIFY(running.waitForStarted());
            const QString pid = QString::number(running.processId());
            if (end == u"early"_s) {
                running.kill();
                QVERIFY(running.waitForFinished());
            }
            QProcess helper;
            helper.start(QStringLiteral(RELAUNCH), {QStringLiteral(QUILLON), pid, u"--version"_s});
            QVERIFY(helper.waitForStarted());
            if (end != u"early"_s) {
                QTRY_VERIFY(waits(helper));
                QCOMPARE(helper.bytesAvailable(), 0);
                if (end == u"exit"_s)
                    running.closeWriteChannel();
                else
                    running.kill();
                QVERIFY(running.waitForFinished());
            }
            QVERIFY(helper.waitForFinished());
            QCOMPARE(helper.readAllStandardOutput(), QByteArray("quillon " QUILLON_VERSION "\n"));
        }
    }

    void relaunchCalledWrongly()
    {
        for (const auto& [arguments, status] : {std::pair(QStringList{u"true"_s}, 2),
                                                {QStringList{u"true"_s, u"-1"_s}, 2},
                                                {QStringList{u"/nowhere/quillon"_s, QString::number(1 << 30)}, 1}}) {
            QProcess helper;
            helper.start(QStringLiteral(RELAUNCH), arguments);
            QVERIFY(helper.waitForFinished());
            QCOMPARE(helper.exitCode(), status);
            QVERIFY(!helper.readAllStandardError().isEmpty());
        }
    }
};

QTEST_GUILESS_MAIN(ProgramTest)
#include "ProgramTest.moc"
