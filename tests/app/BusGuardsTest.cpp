#include "AppRun.h"
#include "app/SessionBus.h"
#include "support/TestMain.h"

using namespace Qt::StringLiterals;

namespace {

/// The error that is answered in the end, empty when it was done.
QString perform(AppRun& run, const app::SessionBus& bus, const QString& action)
{
    QStringList answers;
    bus.perform(action, [&](const auto& refused) { answers << (refused ? refused->error : QString()); });
    run.settle();
    return answers.size() == 1 ? answers.first() : u"answers: "_s + QString::number(answers.size());
}

} // namespace

/// What callers on the session bus may ask for, and when.
class BusGuardsTest final : public QObject
{
    Q_OBJECT
private slots:
    void guards()
    {
        struct Guarded
        {
            QString action;
            QString online; // the error, empty when it is done
            QString offline;
            QString signedOut;
            QString effect;
        };
        const QString offline = u"com.wrenfold.Quillon1.Error.Offline"_s;
        const QString signedOut = u"com.wrenfold.Quillon1.Error.SignedOut"_s;
        const QString unknown = u"com.wrenfold.Quillon1.Error.NoSuchAction"_s;
        const QString done;
        for (const Guarded& guarded : {Guarded{u"toggle"_s, done, offline, done, u"GET /daily/timer/1"_s},
                                       {u"new-timer"_s, done, offline, signedOut, u"New Timer"_s},
                                       {u"timesheet"_s, done, done, signedOut, u"Timesheet"_s},
                                       {u"manage-tasks"_s, done, done, signedOut, u"/tasks"_s},
                                       {u"preferences"_s, done, done, done, u"Quillon Preferences"_s},
                                       {u"about"_s, done, done, done, u"About Quillon"_s},
                                       {u"abuot"_s, unknown, unknown, unknown, QString()}}) {
            StartedRun run(u"Design"_s);
            const app::SessionBus bus(*run.menulet, nullptr);

            // The error, and whether the action had its effect.
            const auto ask = [&] {
                run.shown();
                run.test.desktop.opened.clear();
                run.requested();
                const QString answer = perform(run, bus, guarded.action);
                QStringList seen = run.shown() + run.requested();
                for (const QUrl& url : run.test.desktop.opened)
                    seen << url.path();
                return std::pair(answer, seen.contains(guarded.effect));
            };
            const auto expected = [&](const QString& error) { return std::pair(error, error.isEmpty()); };

            QCOMPARE(ask(), expected(guarded.online));
            run.test.network.setReachable(false);
            QCOMPARE(ask(), expected(guarded.offline));
            run.test.network.setReachable(true);
            run.settle();
            run.menulet->authenticationFailed();
            QCOMPARE(ask(), expected(guarded.signedOut));
        }
    }

    void nothingToToggle()
    {
        StartedRun run;
        const app::SessionBus bus(*run.menulet, nullptr);
        // What there is to do instead is shown, and a script hears that no timer came of it.
        const auto toggle = [&] {
            run.shown();
            run.requested();
            const QString answer = perform(run, bus, u"toggle"_s);
            return QStringList(answer.section(u'.', -1)) + run.shown() + run.requested();
        };
        QCOMPARE(toggle(), QStringList({u"NoEntry"_s, u"New Timer"_s}));
        run.test.network.setReachable(false);
        QCOMPARE(toggle(), QStringList(u"Offline"_s));
        run.menulet->authenticationFailed();
        QCOMPARE(toggle(), QStringList({u"SignedOut"_s, u"Quillon Preferences"_s}));

        // Refused by the service, and a reply that is neither yes nor no.
        run.test.network.setReachable(true);
        run.settle();
        run.startTimer(u"Design"_s);
        const std::string id = run.menulet->company()->mostRecentDayEntry()->idString().toStdString();
        run.peer.answer("GET /daily/timer/" + id, {{500, "oops"}, {200, "<!DOCTYPE html>"}});
        QCOMPARE(toggle().first(), u"Failed"_s);
        QCOMPARE(toggle().first(), u"Failed"_s);
        QCOMPARE(toggle().first(), QString());
    }

    void statusOfTheCurrentEntry()
    {
        StartedRun run;
        QObject object;
        const app::SessionBus bus(*run.menulet, &object);
        const auto status = [&] {
            const QObject* adaptor = object.children().constFirst();
            QStringList values;
            for (const char* name : {"State", "Hours", "Running", "Offline", "SignedOut", "Project", "Task", "Client"})
                values << adaptor->property(name).toString();
            return values.join(u'|');
        };
        run.startTimer(u"Design"_s);
        QCOMPARE(status(), u"running|0:00|true|false|false|[W1] Website|Design|Harbour"_s);
        run.test.network.setReachable(false);
        QCOMPARE(status(), u"offline|0:00|true|true|false|[W1] Website|Design|Harbour"_s);
        // Nothing of an account whose password is no longer right.
        run.menulet->authenticationFailed();
        QCOMPARE(status(), u"offline|0:00|true|true|true|||"_s);
    }
};

QUILLON_OFFSCREEN_TEST_MAIN(BusGuardsTest)
#include "BusGuardsTest.moc"
