#include "Program.h"

#include "platform/linux/SecretServiceStore.h"
#include "support/InRow.h"
#include "support/TestEnvironment.h"
#include "support/TestMain.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVirtualObject>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <csignal>

#include <sys/wait.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using platform::SecretServiceStore;
using Failure = platform::SecretStore::Failure;
using Secret = platform::SecretStore::Result<std::optional<QByteArray>>;

namespace {

const QString ServiceName = u"com.example.test"_s;
const QString Ada = u"ada@example.com"_s;
const QString Helper = QStringLiteral(QUILLON_KEYRING);
constexpr auto Patience = 2s;

Secret failed(Failure failure)
{
    return tl::unexpected(failure);
}

bool lockKeyring()
{
    auto call = QDBusMessage::createMethodCall(u"org.freedesktop.secrets"_s, u"/org/freedesktop/secrets"_s,
                                               u"org.freedesktop.Secret.Service"_s, u"Lock"_s);
    call << QVariant::fromValue(
        QList<QDBusObjectPath>{QDBusObjectPath(u"/org/freedesktop/secrets/collection/login"_s)});
    return QDBusConnection::sessionBus().call(call).type() == QDBusMessage::ReplyMessage;
}

/// Notes what became of items that could not be stored at once.
SecretServiceStore::Stored into(QList<std::optional<Failure>>& outcomes)
{
    return [&outcomes](const SecretServiceStore::Result<void>& stored) {
        outcomes << (stored ? std::nullopt : std::optional(stored.error()));
    };
}

void noOutcome(const SecretServiceStore::Result<void>&)
{
    QFAIL("nothing was left open");
}

/// Somebody who types at the first dialog that comes up. It may grab the keyboard late: typing goes on until somebody
/// listens.
struct Person : Program
{
    explicit Person(const QString& keys)
        : Program(u"bash"_s, {u"-c"_s, uR"(xdotool search --sync --onlyvisible --name . >/dev/null
            for try in {1..20}; do xdotool sleep 1 %1; done)"_s.arg(keys)})
    {
    }
};

/// Takes every call and answers none.
class Silence final : public QDBusVirtualObject
{
public:
    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage&, const QDBusConnection&) override { return true; }
};

} // namespace

/// Each function needs surroundings of its own and is run by itself.
class SecretServiceStoreTest final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { qDBusRegisterMetaType<QList<QDBusObjectPath>>(); }
    void keepsSecrets()
    {
        SecretServiceStore store(Patience, Helper);
        QCOMPARE(store.lookup(ServiceName, Ada), Secret(std::nullopt));
        QVERIFY(store.remove(ServiceName, Ada));

        const QByteArray long_ = QByteArray(2000, 'x') + "\xc3\xa4";
        for (const QByteArray& secret :
             {QByteArray("first"), long_, QByteArray(""), QByteArray("pa\xc3\x9fwort '\"$")}) {
            QVERIFY(store.store(ServiceName, Ada, secret, noOutcome));
            QCOMPARE(store.lookup(ServiceName, Ada), Secret(secret));
        }
        // A look-up that was begun early finds what is there when it is asked for.
        store.expectLookup(ServiceName, Ada);
        QVERIFY(store.hasDefaultKeyring()); // that look-up has ended, and is overtaken
        QVERIFY(store.store(ServiceName, Ada, "newer", noOutcome));
        QCOMPARE(store.lookup(ServiceName, Ada), Secret(QByteArray("newer")));
        store.expectLookup(ServiceName, Ada);
        QCOMPARE(store.lookup(ServiceName, u"nobody"_s), Secret(std::nullopt));
        QVERIFY(store.store(ServiceName, u"bob@example.com"_s, "other", noOutcome));
        store.expectLookup(ServiceName, Ada);
        QCOMPARE(store.lookup(ServiceName, Ada), Secret(QByteArray("newer")));
        QCOMPARE(store.lookup(u"com.example"_s, Ada), Secret(std::nullopt));

        // Other programs find it by the two attributes.
        Program tool(u"secret-tool"_s, {u"lookup"_s, u"service"_s, ServiceName, u"account"_s, u"bob@example.com"_s});
        QVERIFY(tool.says("other"));

        QVERIFY(store.remove(ServiceName, Ada));
        QCOMPARE(store.lookup(ServiceName, Ada), Secret(std::nullopt));
    }

    void locked()
    {
        const support::TestRun run;
        SecretServiceStore store(Patience, Helper);
        VERIFY_EACH(store.store(ServiceName, Ada, "secret", noOutcome), lockKeyring());
        QCOMPARE(store.lookup(ServiceName, Ada), failed(Failure::Locked));
        QCOMPARE(store.lookup(ServiceName, u"nobody"_s), Secret(std::nullopt));

        // Nobody can be asked without a display.
        std::optional<Secret> answer;
        store.unlockAndLookup(ServiceName, Ada, [&](const Secret& secret) { answer = secret; });
        QVERIFY(!answer);
        QTRY_VERIFY(answer);
        QCOMPARE(*answer, failed(Failure::Locked));
        QList<std::optional<Failure>> outcomes;
        QCOMPARE(store.store(ServiceName, Ada, "other", into(outcomes)).error(), Failure::Locked);
        QCOMPARE(outcomes.size(), 0);
        QTRY_COMPARE(outcomes, QList<std::optional<Failure>>{Failure::Locked});
    }

    void unlocksWithAPrompt()
    {
        const support::TestRun run;
        SecretServiceStore store(Patience, Helper);
        VERIFY_EACH(store.store(ServiceName, Ada, "secret", noOutcome), lockKeyring());
        QList<Secret> answers;
        store.unlockAndLookup(ServiceName, Ada, [&](const Secret& secret) { answers << secret; });
        QList<std::optional<Failure>> outcomes;
        QCOMPARE(store.store(ServiceName, Ada, "newer", into(outcomes)).error(), Failure::Locked);
        {
            const Person person(u"key ctrl+a type test && xdotool key Return"_s);
            QTRY_COMPARE_WITH_TIMEOUT(answers.size(), 1, 30000);
        }
        QCOMPARE(answers.first(), Secret(QByteArray("secret")));
        QTRY_COMPARE(outcomes, QList<std::optional<Failure>>{std::nullopt});
        QCOMPARE(store.lookup(ServiceName, Ada), Secret(QByteArray("newer")));
    }

    void promptIsCancelled()
    {
        const support::TestRun run;
        SecretServiceStore store(Patience, Helper);
        VERIFY_EACH(store.store(ServiceName, Ada, "secret", noOutcome), lockKeyring());
        QList<std::optional<Failure>> outcomes;
        // Twice the same is asked once.
        QCOMPARE(store.store(ServiceName, Ada, "newer", into(outcomes)).error(), Failure::Locked);
        QCOMPARE(store.store(ServiceName, Ada, "newer", into(outcomes)).error(), Failure::Locked);
        {
            const Person person(u"key Escape"_s);
            QTRY_VERIFY_WITH_TIMEOUT(!outcomes.isEmpty(), 30000);
        }
        QCOMPARE(outcomes, QList<std::optional<Failure>>({Failure::Locked, Failure::Locked}));
        QCOMPARE(store.lookup(ServiceName, Ada), failed(Failure::Locked));
    }

    void nobodyKeepsSecrets()
    {
        const support::TestRun run;
        SecretServiceStore store(Patience, Helper);
        QCOMPARE(store.lookup(ServiceName, Ada), failed(Failure::NoService));
        QCOMPARE(store.store(ServiceName, Ada, "x", noOutcome).error(), Failure::NoService);
        QCOMPARE(store.remove(ServiceName, Ada).error(), Failure::NoService);
        std::optional<Secret> answer;
        store.unlockAndLookup(ServiceName, Ada, [&](const Secret& secret) { answer = secret; });
        QTRY_VERIFY(answer);
        QCOMPARE(*answer, failed(Failure::NoService));
    }

    void hangingService()
    {
        QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"hanging"_s);
        Silence silence;
        QVERIFY(bus.registerVirtualObject(u"/"_s, &silence, QDBusConnection::SubPath));
        QVERIFY(bus.registerService(u"org.freedesktop.secrets"_s));
        SecretServiceStore store(1s, Helper);
        QElapsedTimer waited;
        waited.start();
        QCOMPARE(store.lookup(ServiceName, Ada), failed(Failure::TimedOut));
        QVERIFY(waited.elapsed() >= 1000);
        // One wait is enough.
        waited.start();
        QCOMPARE(store.lookup(ServiceName, Ada), failed(Failure::TimedOut));
        QVERIFY(waited.elapsed() < 1000);
        QCOMPARE(store.store(ServiceName, Ada, "x", noOutcome).error(), Failure::TimedOut);

        const Program child(QCoreApplication::applicationFilePath(), {u"leavesWhileItHangs"_s});
        waited.start();
        QTRY_VERIFY_WITH_TIMEOUT(child.hasEnded(), 20000);
        QCOMPARE(child.exitCode(), 0);
        QVERIFY2(waited.elapsed() < 5000, qPrintable(QString::number(waited.elapsed())));
        // Not even then is a helper left, which would hold the other end of the shell's pipe.
        Program shell(u"bash"_s, {u"-c"_s, u"said=$(QUILLON_TEST_DIES=1 $0 leavesWhileItHangs 2>&1); echo gone"_s,
                                  QCoreApplication::applicationFilePath()});
        QVERIFY(shell.says("gone"));
    }

    void leavesWhileItHangs()
    {
        const support::TestRun run;
        {
            SecretServiceStore store(100ms, Helper);
            store.unlockAndLookup(ServiceName, Ada, [](const Secret&) { QFAIL("called back after its end"); });
            QCOMPARE(store.lookup(ServiceName, Ada), failed(Failure::TimedOut));
            if (qEnvironmentVariableIsSet("QUILLON_TEST_DIES"))
                raise(SIGKILL);
        }
        QCOMPARE(waitpid(-1, nullptr, WNOHANG), -1);
    }

    void helperFails()
    {
        const support::TestRun run;
        const QTemporaryDir folder;
        const QString helper = folder.filePath(u"helper"_s);
        for (const auto& [row, script, failure] :
             {std::tuple("missing", "", Failure::NotInstalled),
              {"ends at once", "exit", Failure::Other},
              {"ends in the head", "printf Done >&0", Failure::Other},
              {"ends in the secret", R"(printf '\0\0\0\0\11\0\0\0\0\0\0\0\0\0\0\0pass' >&0)", Failure::Other},
              {"says nonsense", "yes >&0", Failure::Other}}) {
            const support::InRow inRow(row);
            SecretServiceStore store(Patience, helper);
            if (QFile file(helper); *script) {
                QVERIFY(file.open(QIODevice::WriteOnly));
                file.write(QByteArray("#!/bin/sh\nhead -c 16 >/dev/null\n") + script);
                file.setPermissions(QFile::ReadOwner | QFile::ExeOwner | QFile::WriteOwner);
            }
            store.expectLookup(ServiceName, Ada);
            QCOMPARE(store.lookup(ServiceName, Ada), failed(failure));
            QCOMPARE(store.remove(ServiceName, Ada).error(), failure);
            QList<Secret> answers;
            store.unlockAndLookup(ServiceName, Ada, [&](const Secret& secret) { answers << secret; });
            QCOMPARE(store.store(ServiceName, Ada, "x", noOutcome).error(), failure);
            QTRY_COMPARE(answers, QList<Secret>{failed(failure)});
            // The next one may fare better.
            QFile::remove(helper);
            QVERIFY(QFile::link(Helper, helper));
            QCOMPARE(store.lookup(ServiceName, Ada), failed(Failure::NoService));
            QFile::remove(helper);
        }
    }
};

QUILLON_OFFSCREEN_TEST_MAIN(SecretServiceStoreTest)
#include "SecretServiceStoreTest.moc"
