#include "support/TestMain.h"

#include <QProcess>
#include <QTemporaryDir>

#include <memory>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

class Probe
{
public:
    explicit Probe(const QProcessEnvironment& environment)
    {
        m_process.setProcessEnvironment(environment);
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(QStringLiteral(PROBE), QStringList());
    }
    ~Probe()
    {
        m_process.closeWriteChannel();
        m_process.waitForFinished();
    }

    QStringList said()
    {
        m_said += QString::fromLatin1(m_process.readAllStandardOutput());
        return m_said.split(u'\n', Qt::SkipEmptyParts);
    }
    bool hasLeft() const { return m_process.state() == QProcess::NotRunning; }
    int exitCode() const { return m_process.exitCode(); }
    void kill()
    {
        m_process.kill();
        m_process.waitForFinished();
    }

private:
    QProcess m_process;
    QString m_said;
};

} // namespace

class SingleInstanceTest final : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void secondStartActivatesTheFirst_data() { ways(); }
    void secondStartActivatesTheFirst();
    void threeAtOnce_data() { ways(); }
    void threeAtOnce();
    void othersActivateItOverTheBus();

private:
    static void ways()
    {
        QTest::addColumn<bool>("bus");
        QTest::newRow("with a bus") << true;
        QTest::newRow("without") << false;
    }
    QProcessEnvironment environment(bool bus) const;

    std::unique_ptr<QTemporaryDir> m_runtime;
};

void SingleInstanceTest::init()
{
    m_runtime = std::make_unique<QTemporaryDir>();
}

QProcessEnvironment SingleInstanceTest::environment(bool bus) const
{
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"XDG_RUNTIME_DIR"_s, m_runtime->path());
    if (!bus)
        environment.remove(u"DBUS_SESSION_BUS_ADDRESS"_s);
    return environment;
}

void SingleInstanceTest::secondStartActivatesTheFirst()
{
    QFETCH(bool, bus);
    Probe first(environment(bus));
    QTRY_COMPARE(first.said(), QStringList{u"first"_s});
    for (int starts = 1; starts <= 2; ++starts) {
        Probe second(environment(bus));
        QTRY_VERIFY(second.hasLeft());
        QCOMPARE(second.said(), QStringList{u"second"_s});
        QCOMPARE(second.exitCode(), 0);
        QTRY_COMPARE(first.said().count(u"activated"_s), starts);
    }
    first.kill();
    Probe next(environment(bus));
    QTRY_COMPARE(next.said(), QStringList{u"first"_s});
}

void SingleInstanceTest::threeAtOnce()
{
    QFETCH(bool, bus);
    std::vector<std::unique_ptr<Probe>> probes;
    for (int i = 0; i < 3; ++i)
        probes.push_back(std::make_unique<Probe>(environment(bus)));
    const auto count = [&](const QString& word) {
        qsizetype found = 0;
        for (const auto& probe : probes)
            found += probe->said().count(word);
        return found;
    };
    QTRY_COMPARE(count(u"second"_s), 2);
    QTRY_COMPARE(count(u"activated"_s), 2);
    QCOMPARE(count(u"first"_s), 1);
}

void SingleInstanceTest::othersActivateItOverTheBus()
{
    Probe first(environment(true));
    QTRY_COMPARE(first.said(), QStringList{u"first"_s});
    const QStringList target{u"call"_s,          u"--session"_s,
                             u"--dest"_s,        u"com.wrenfold.quillon"_s,
                             u"--object-path"_s, u"/com/wrenfold/quillon"_s,
                             u"--method"_s};
    const QString application = u"org.freedesktop.Application."_s;
    QCOMPARE(QProcess::execute(u"gdbus"_s, target + QStringList{application + u"Activate"_s, u"{}"_s}), 0);
    QCOMPARE(QProcess::execute(u"gdbus"_s, target + QStringList{application + u"Open"_s, u"[]"_s, u"{}"_s}), 0);
    QTRY_COMPARE(first.said().count(u"activated"_s), 2);
    const auto action = [&](const QString& name) {
        return QProcess::execute(u"gdbus"_s,
                                 target + QStringList{application + u"ActivateAction"_s, name, u"@av []"_s, u"{}"_s});
    };
    QCOMPARE(action(u"show"_s), 0);
    QTRY_COMPARE(first.said().count(u"show"_s), 1);
    QVERIFY(action(u"hide"_s) != 0);
}

QUILLON_OFFSCREEN_TEST_MAIN(SingleInstanceTest)
#include "SingleInstanceTest.moc"
