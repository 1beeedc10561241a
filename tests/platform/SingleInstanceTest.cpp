#include "Program.h"

#include "support/TestMain.h"

#include <QTemporaryDir>

#include <memory>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

const QString Probe = QStringLiteral(INSTANCE_PROBE);

QStringList said(Program& probe)
{
    return QString::fromLatin1(probe.lines().join('\n')).split(u'\n', Qt::SkipEmptyParts);
}

} // namespace

class SingleInstanceTest final : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_runtime = std::make_unique<QTemporaryDir>(); }

    void secondStartActivatesTheFirst()
    {
        for (const bool bus : {true, false}) {
            Program first(Probe, {}, environment(bus));
            QTRY_COMPARE(said(first), QStringList{u"first"_s});
            for (int starts = 1; starts <= 2; ++starts) {
                Program second(Probe, {}, environment(bus));
                QTRY_VERIFY(second.hasEnded());
                QCOMPARE(said(second), QStringList{u"second"_s});
                QCOMPARE(second.exitCode(), 0);
                QTRY_COMPARE(said(first).count(u"activated"_s), starts);
            }
            first.end();
            Program next(Probe, {}, environment(bus));
            QTRY_COMPARE(said(next), QStringList{u"first"_s});
            // The one before was ended by a signal, and could not clear away.
            Program after(Probe, {}, environment(bus));
            QTRY_COMPARE(said(next).count(u"activated"_s), 1);
        }
    }

    void threeAtOnce()
    {
        for (const bool bus : {true, false}) {
            std::vector<std::unique_ptr<Program>> probes;
            for (int i = 0; i < 3; ++i)
                probes.push_back(std::make_unique<Program>(Probe, QStringList(), environment(bus)));
            const auto count = [&](const QString& word) {
                qsizetype found = 0;
                for (const auto& probe : probes)
                    found += said(*probe).count(word);
                return found;
            };
            QTRY_COMPARE(count(u"second"_s), 2);
            QTRY_COMPARE(count(u"activated"_s), 2);
            QCOMPARE(count(u"first"_s), 1);
        }
    }

    void othersActivateItOverTheBus()
    {
        Program first(Probe, {}, environment(true));
        QTRY_COMPARE(said(first), QStringList{u"first"_s});
        const QStringList target{u"call"_s,          u"--session"_s,
                                 u"--dest"_s,        u"com.wrenfold.quillon"_s,
                                 u"--object-path"_s, u"/com/wrenfold/quillon"_s,
                                 u"--method"_s};
        const QString application = u"org.freedesktop.Application."_s;
        QCOMPARE(QProcess::execute(u"gdbus"_s, target + QStringList{application + u"Activate"_s, u"{}"_s}), 0);
        QCOMPARE(QProcess::execute(u"gdbus"_s, target + QStringList{application + u"Open"_s, u"[]"_s, u"{}"_s}), 0);
        QTRY_COMPARE(said(first).count(u"activated"_s), 2);
        const auto action = [&](const QString& name) {
            return QProcess::execute(u"gdbus"_s, target + QStringList{application + u"ActivateAction"_s, name,
                                                                      u"@av []"_s, u"{'activation-token': <'T'>}"_s});
        };
        QCOMPARE(action(u"show"_s), 0);
        QTRY_COMPARE(said(first).count(u"show T"_s), 1);
        QVERIFY(action(u"hide"_s) != 0);
    }

private:
    QProcessEnvironment environment(bool bus) const
    {
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"XDG_RUNTIME_DIR"_s, m_runtime->path());
        if (!bus)
            environment.remove(u"DBUS_SESSION_BUS_ADDRESS"_s);
        return environment;
    }

    std::unique_ptr<QTemporaryDir> m_runtime;
};

QUILLON_OFFSCREEN_TEST_MAIN(SingleInstanceTest)
#include "SingleInstanceTest.moc"
