#include "platform/InfoDictionary.h"
#include "platform/Paths.h"
#include "platform/PostTogether.h"
#include "platform/Run.h"
#include "platform/SystemTimeSource.h"
#include "support/TestEnvironment.h"
#include "support/TestMain.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>

#include <semaphore>
#include <thread>
#include <tuple>

#include <sys/stat.h>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

QString write(const QString& path, const QByteArray& text)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(text);
    return path;
}

/// Notes when it is made and destroyed, and uses what was made before it.
QStringList s_life;
struct First
{
    First() { s_life << u"first made"_s; }
    ~First() { s_life << u"first gone"_s; }
    void use() { s_life << u"first used"_s; }
};
struct Second
{
    Second() : first(platform::Run::current().shared<First>()) { s_life << u"second made"_s; }
    ~Second()
    {
        platform::Run::current().shared<First>().use();
        s_life << u"second gone"_s;
    }
    First& first;
};

} // namespace

class CoreTest final : public QObject
{
    Q_OBJECT

private slots:
    void callsKeepTheirOrder()
    {
        const support::TestRun run;
        std::vector<int> seen;
        std::vector<int> expected;
        bool allOnMain = true;
        // Two threads take turns, so that the order of the posts is known.
        std::atomic<int> turn = 0;
        const auto poster = [&](int parity) {
            for (int i = parity; i < 400; i += 2) {
                while (turn != i)
                    std::this_thread::yield();
                platform::Run::current().postToMain([&, i] {
                    seen.push_back(i);
                    allOnMain &= QThread::currentThread() == qApp->thread();
                });
                turn = i + 1;
            }
        };
        std::thread even(poster, 0);
        std::thread odd(poster, 1);
        for (int i = 0; i < 400; ++i)
            expected.push_back(i);
        QTRY_COMPARE(seen.size(), std::size_t(400));
        even.join();
        odd.join();
        QCOMPARE(seen, expected);
        QVERIFY(allOnMain);
    }

    void whatIsPostedTogetherComesInOneGo()
    {
        const support::TestRun run;
        platform::Run& current = platform::Run::current();
        QStringList seen;
        std::binary_semaphore posted{0}, looked{0};
        std::thread other([&] {
            const platform::PostTogether together;
            current.postToMain([&] { seen << u"first"_s; });
            current.postToMain([&] { seen << u"second"_s; });
            posted.release();
            looked.acquire();
        });
        posted.acquire();
        current.postToMain([&] { seen << u"between"_s; });
        QTRY_COMPARE(seen, QStringList(u"between"_s));
        looked.release();
        other.join();
        QTRY_COMPARE(seen, QStringList({u"between"_s, u"first"_s, u"second"_s}));
    }

    void callsAreMadeLaterAndDroppedAtTheEnd()
    {
        QStringList seen;
        const auto token = std::make_shared<int>();
        {
            const support::TestRun run;
            platform::Run& current = platform::Run::current();
            current.postToMain([&] {
                seen << u"outer"_s;
                current.postToMain([&] { seen << u"inner"_s; });
                seen << u"outer ends"_s;
            });
            QVERIFY(seen.isEmpty());
            QTRY_COMPARE(seen, QStringList({u"outer"_s, u"outer ends"_s, u"inner"_s}));
            current.postToMain([&seen, token] { seen << u"late"_s; });
        }
        QVERIFY(!platform::Run::exists());
        QCoreApplication::processEvents();
        QCOMPARE(seen.size(), 3);
        QCOMPARE(token.use_count(), 1);
    }

    void aBurstOfCallsLetsEventsThrough()
    {
        const support::TestRun run;
        int calls = 0;
        int callsAtEvent = -1;
        for (int i = 0; i < 20; ++i) {
            platform::Run::current().postToMain([&] {
                QElapsedTimer busy;
                busy.start();
                while (busy.elapsed() < 3) {
                }
                ++calls;
            });
        }
        QMetaObject::invokeMethod(
            this, [&] { callsAtEvent = calls; }, Qt::QueuedConnection);
        QTRY_COMPARE(calls, 20);
        QVERIFY2(callsAtEvent > 0 && callsAtEvent < 10, qPrintable(QString::number(callsAtEvent)));
    }

    void sharedObjectsGoInReverseOrder()
    {
        s_life.clear();
        {
            const support::TestRun run;
            Second& second = platform::Run::current().shared<Second>();
            QCOMPARE(&platform::Run::current().shared<First>(), &second.first);
            QCOMPARE(&platform::Run::current().shared<Second>(), &second);
        }
        QCOMPARE(s_life,
                 QStringList({u"first made"_s, u"second made"_s, u"first used"_s, u"second gone"_s, u"first gone"_s}));
    }

    void stopEndsASleep()
    {
        platform::SystemTimeSource time;
        QVERIFY(time.sleepFor(1ms, {}));

        std::optional<bool> whole;
        std::jthread sleeper([&](const std::stop_token& stop) { whole = time.sleepFor(10min, stop); });
        QElapsedTimer waited;
        waited.start();
        sleeper.request_stop();
        sleeper.join();
        QCOMPARE(whole, std::optional(false));
        QVERIFY(waited.elapsed() < 5000);
    }

    void aTimerMayEndItself()
    {
        platform::SystemTimeSource time;
        int ticks = 0;
        std::unique_ptr<platform::TimeSource::Timer> timer;
        timer = time.repeat(1ms, [&] {
            if (++ticks == 3)
                timer.reset();
            // The captures must still be there.
            QVERIFY(ticks <= 3);
        });
        QTRY_COMPARE(ticks, 3);
        QVERIFY(!timer);
    }

    void longIntervalsEndTogether()
    {
        const auto first = platform::SystemTimeSource::firstInterval;
        for (const auto uptime : {0ms, 1ms, 14999ms, 3600007ms}) {
            QCOMPARE((uptime + first(15s, uptime)) % 15s, 0ms);
            QCOMPARE((uptime + first(30s, uptime)) % 15s, 0ms);
            QVERIFY(first(15s, uptime) > 0ms && first(15s, uptime) <= 15s && first(30s, uptime) > 15s);
            QCOMPARE(first(300ms, uptime), 300ms);
            QCOMPARE(first(59123ms, uptime), 59123ms); // when an hour shows its next minute
        }
    }

    void layers()
    {
        struct Case
        {
            QStringList layers; // what the files say, from the weakest on
            double minutes;
            QString domain;
        };
        const QString ofSystem = uR"({"QuillonIdleMinutes": 1, "QuillonServiceDomain": ".system.example"})"_s;
        const QString ofEnvironment = uR"({"QuillonServiceDomain": ".env.example"})"_s;
        const auto idle = [](const char* value) {
            return uR"({"QuillonIdleMinutes": %1})"_s.arg(QLatin1String(value));
        };
        const QString none;
        for (const auto& given : {Case{{none, none, none, none}, 10, u".quillon.example"_s},
                                  {{ofSystem, none, none, none}, 1, u".system.example"_s},
                                  {{ofSystem, idle("2"), none, none}, 2, u".system.example"_s},
                                  {{ofSystem, idle("2"), idle("3"), none}, 3, u".system.example"_s},
                                  // The option stands instead of the environment; broken files are passed over.
                                  {{none, none, ofEnvironment, idle("4")}, 4, u".quillon.example"_s},
                                  {{u"{"_s, idle("\"five\""), none, none}, 99, u".quillon.example"_s}}) {
            const support::TemporaryFolders folders;
            qputenv("XDG_CONFIG_DIRS",
                    folders.path(u"first"_s).toLocal8Bit() + ':' + folders.path(u"second"_s).toLocal8Bit());
            const auto put = [&](int layer, const QString& path) {
                return given.layers[layer].isEmpty() ? QString() : write(path, given.layers[layer].toUtf8());
            };
            if (!put(0, folders.path(u"first/Quillon/Info.json"_s)).isEmpty())
                write(folders.path(u"second/Quillon/Info.json"_s), R"({"QuillonIdleMinutes": 99})");
            put(1, platform::configFolder() + u"/Info.json"_s);
            if (const QString named = put(2, folders.path(u"env.json"_s)); !named.isEmpty())
                qputenv("QUILLON_INFO", named.toLocal8Bit());

            const auto info = platform::InfoDictionary::load(put(3, folders.path(u"option.json"_s)));
            QVERIFY(info);
            QCOMPARE(info->number("QuillonIdleMinutes"_L1), given.minutes);
            QCOMPARE(info->string("QuillonServiceDomain"_L1), given.domain);
            QCOMPARE(info->string("CFBundleIdentifier"_L1), u"com.wrenfold.quillon"_s);
            QCOMPARE(info->string("CFBundleVersion"_L1), QStringLiteral(QUILLON_VERSION));
        }
    }

    void brokenFiles()
    {
        const support::TemporaryFolders folders;
        const QString path = folders.path(u"named.json"_s);
        for (const auto& [text, error] : {std::pair<QByteArray, QString>({}, u"No such file or directory"_s),
                                          {"{\n\"a\": 1,\n\"b\" 2}", u"line 3: missing name separator"_s},
                                          {"[1]", u"it must be one JSON object"_s},
                                          {R"({"QuillonIdleMinutes": "5"})", u"QuillonIdleMinutes must be a number"_s},
                                          {R"({"CFBundleIdentifier": 5})", u"CFBundleIdentifier must be a string"_s},
                                          {R"({"QuillonLocalDebug": 1})", u"QuillonLocalDebug must be true or false"_s},
                                          {QByteArray("{}").leftJustified(1024 * 1024 + 1), u"it is too large"_s}}) {
            if (!text.isEmpty())
                write(path, text);
            const auto info = platform::InfoDictionary::load(path);
            QVERIFY(!info);
            QCOMPARE(info.error(), path + u": "_s + error);
        }

        // Neither read without end nor waited for.
        const QString pipe = folders.path(u"pipe"_s);
        QCOMPARE(mkfifo(qPrintable(pipe), 0600), 0);
        for (const QString& special : {pipe, u"/dev/zero"_s})
            QCOMPARE(platform::InfoDictionary::load(special).error(), special + u": it is not an ordinary file"_s);
    }

    void folders()
    {
        const support::TemporaryFolders folders;
        const QByteArray home = qgetenv("HOME");
        qputenv("HOME", "/h");
        for (const auto& [given, data, expectedConfig, expectedData] :
             {std::tuple("/c/x/", "/d", u"/c/x/Quillon"_s, u"/d/Quillon"_s),
              {"", "", u"/h/.config/Quillon"_s, u"/h/.local/share/Quillon"_s},
              {"c", "./d", u"/h/.config/Quillon"_s, u"/h/.local/share/Quillon"_s}}) {
            qputenv("XDG_CONFIG_HOME", given);
            qputenv("XDG_DATA_HOME", data);
            QCOMPARE(platform::configFolder(), expectedConfig);
            QCOMPARE(platform::dataFolder(), expectedData);
        }
        qputenv("HOME", home);
    }

    void ownFoldersAreNarrowedOnly()
    {
        const support::TemporaryFolders folders;
        const QString folder = folders.path(u"ours"_s);
        QVERIFY(platform::makeOwnFolder(folder));
        const std::vector<std::tuple<QString, mode_t, mode_t>> modes{{write(folder + u"/open"_s, "x"), 0666, 0600},
                                                                     {write(folder + u"/protected"_s, "x"), 0444, 0400},
                                                                     {folder, 0555, 0500}};
        for (const auto& [path, before, after] : modes)
            QCOMPARE(chmod(qPrintable(path), before), 0);
        QVERIFY(platform::makeOwnFolder(folder));
        for (const auto& [path, before, after] : modes) {
            struct stat found;
            QCOMPARE(stat(qPrintable(path), &found), 0);
            QCOMPARE(found.st_mode & 0777, after);
        }
        chmod(qPrintable(folder), 0700);
    }
};

QUILLON_OFFSCREEN_TEST_MAIN(CoreTest)
#include "CoreTest.moc"
