#include "app/Appcast.h"
#include "app/AppcastFeed.h"
#include "app/UpdateWindow.h"
#include "settings/Keys.h"
#include "settings/UserDefaults.h"
#include "support/ScriptedPeer.h"
#include "support/TestEnvironment.h"
#include "support/TestMain.h"

#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressDialog>
#include <QPushButton>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using app::Appcast;
using support::Reply;

namespace {

std::string feed(const std::string& items)
{
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
           "<rss version=\"2.0\" xmlns:sparkle=\"http://www.andymatuschak.org/xml-namespaces/sparkle\"><channel>"
           "<title>Quillon</title><link>https://wrenfold.example/</link>" +
           items + "</channel></rss>";
}

std::string item(const std::string& version, const std::string& notes = "Faster.",
                 const std::string& link = "https://wrenfold.example/get")
{
    return "<item><title>Quillon " + version + "</title><link>" + link + "</link><description>" + notes +
           "</description><enclosure url=\"https://wrenfold.example/quillon.deb\" sparkle:version=\"" + version +
           "\" length=\"1\" type=\"application/octet-stream\"/></item>";
}

/// Version 1.2 of the program, with a feed at a server on loopback.
class Updates
{
public:
    explicit Updates(std::chrono::milliseconds patience = 20s)
    {
        test.info.set("CFBundleVersion"_L1, u"1.2"_s);
        test.info.set("SUFeedURL"_L1, QString::fromLatin1(peer.url("/appcast.xml", "127.0.0.1")));
        updates = std::make_unique<app::AppcastFeed>(patience);
        updates->setCheckIntervalSeconds(3600);
    }

    void answer(std::vector<Reply> replies) { peer.answer("GET /appcast.xml", std::move(replies)); }
    int requests() const { return static_cast<int>(peer.requests().size()); }

    /// Hours pass until a window has come up.
    void passHours() { QTRY_VERIFY_WITH_TIMEOUT((test.time.advance(1h), window()), 20000); }
    /// The person asks, and something is said.
    void ask()
    {
        const std::size_t before = test.alerts.shown.size();
        updates->check();
        QTRY_VERIFY_WITH_TIMEOUT(window() || test.alerts.shown.size() > before, 20000);
    }
    static app::UpdateWindow* window()
    {
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            auto* found = qobject_cast<app::UpdateWindow*>(widget);
            if (found && found->isVisible())
                return found;
        }
        return nullptr;
    }
    static QString text(const QString& field)
    {
        if (const auto* label = window()->findChild<QLabel*>(field))
            return label->text();
        return window()->findChild<QPlainTextEdit*>(field)->toPlainText();
    }
    static void click(const QString& button)
    {
        QTest::mouseClick(window()->findChild<QPushButton*>(button), Qt::LeftButton);
    }

    support::TestRun test;
    support::ScriptedPeer peer;
    std::unique_ptr<app::AppcastFeed> updates;
};

} // namespace

class UpdatesTest final : public QObject
{
    Q_OBJECT
private slots:
    void versions()
    {
        // Numbers, not letters; a trial comes before the real one, and after the version before.
        for (const auto& [older, newer] : {std::pair(u"1.9"_s, u"1.10"_s),
                                           {u"1.2"_s, u"1.2.1"_s},
                                           {u"1.08"_s, u"1.9"_s},
                                           {u"1.10b2"_s, u"1.10"_s},
                                           {u"1.9"_s, u"1.10-rc1"_s}}) {
            QVERIFY2(Appcast::compareVersions(older, newer) < 0, qPrintable(older));
            QVERIFY2(Appcast::compareVersions(newer, older) > 0, qPrintable(older));
            QCOMPARE(Appcast::compareVersions(newer, newer), 0);
        }
        QCOMPARE(Appcast::compareVersions(u"1.10"_s, u"1.10.0"_s), 0);
        QVERIFY(Appcast::compareVersions(u"1.10-rc1"_s, u"1.10-rc1.0"_s) != 0);
    }

    void feeds_data()
    {
        QTest::addColumn<std::string>("xml");
        QTest::addColumn<QString>("found"); // "none", "unreadable", or version and page
        const auto offer = [](const QString& version) { return version + u" https://wrenfold.example/get"_s; };
        QTest::newRow("newest, wherever it stands")
            << feed(item("1.9") + item("1.10") + item("1.3")) << offer(u"1.10"_s);
        QTest::newRow("none listed") << feed("") << u"none"_s;
        QTest::newRow("as elements, without a page") << feed("<item><sparkle:version>3.0</sparkle:version><enclosure "
                                                             "url=\"https://wrenfold.example/get\"/></item>")
                                                     << offer(u"3.0"_s);
        QTest::newRow("for another system") << feed("<item><enclosure url=\"https://wrenfold.example/x\" "
                                                    "sparkle:version=\"9\" sparkle:os=\"macos\"/></item>" +
                                                    item("1.3"))
                                            << offer(u"1.3"_s);
        QTest::newRow("another namespace")
            << feed("<item "
                    "xmlns:other=\"urn:other\"><other:version>9</other:version><link>https://a.example/</link></item>")
            << u"unreadable"_s;
        QTest::newRow("an item of no use beside one whose page is none")
            << feed(item("soon") + item("2.0", "", "javascript:alert(1)"))
            << u"2.0 https://wrenfold.example/quillon.deb"_s;
        for (const char* link :
             {"javascript:alert(1)", "/get", "https:///get", "https://wrenfold.example@evil.example/"}) {
            QTest::newRow(link) << feed(std::string("<item><sparkle:version>9</sparkle:version><link>") + link +
                                        "</link></item>")
                                << u"unreadable"_s;
        }
        QTest::newRow("no version") << feed(item("soon")) << u"unreadable"_s;
        QTest::newRow("cut") << feed(item("1.3")).substr(0, 300) << u"unreadable"_s;
        QTest::newRow("not well formed") << feed("<item><link>https://a.example/</item></link>") << u"unreadable"_s;
        QTest::newRow("empty") << std::string() << u"unreadable"_s;
        QTest::newRow("entities that grow")
            << "<!DOCTYPE rss [<!ENTITY a \"ha\"><!ENTITY b \"&a;&a;&a;&a;\">]>" + feed(item("1.3", "&b;")).substr(39)
            << u"unreadable"_s;
        std::string deep;
        for (int i = 0; i < 100000; ++i)
            deep += "<a>";
        QTest::newRow("deep") << feed("<item>" + deep) << u"unreadable"_s;
        QTest::newRow("large") << feed(item("1.3", std::string(Appcast::LargestFeed, 'x'))) << u"unreadable"_s;
    }

    void feeds()
    {
        QFETCH(std::string, xml);
        const auto newest = Appcast::newest(QByteArray::fromStdString(xml));
        QString found = u"unreadable"_s;
        if (newest)
            found = *newest ? (*newest)->version + u' ' + (*newest)->page.toString() : u"none"_s;
        QTEST(found, "found");
        QVERIFY(newest || newest.error().endsWith(u'.'));
    }

    void notes()
    {
        for (const auto& [written, read] :
             {std::pair(u"One\n  Two "_s, u"One\n  Two"_s),
              {u"1 &lt; 2 &amp; 3 > 2"_s, u"1 < 2 & 3 > 2"_s},
              {u"<![CDATA[<h2>New</h2><ul><li>A &amp; B</li><li class=\"x\">C</li></ul><H3>Old</H3>]]>"_s,
               u"New\n• A & B\n• C\n \nOld"_s},
              {u"<![CDATA[<style>p{color:red}</style><script>alert(1)</script><p>Text</p>]]>"_s, u"Text"_s},
              {QString(), QString()}}) {
            const auto newest = Appcast::newest(QByteArray::fromStdString(feed(item("1.3", written.toStdString()))));
            VERIFY_EACH(newest, *newest);
            QCOMPARE((*newest)->plainNotes(), read);
        }
    }

    void withoutAnAddress()
    {
        Updates run;
        run.test.info.set("SUFeedURL"_L1, QString());
        run.updates->checkInBackground();
        run.test.time.advance(24h);
        run.ask();
        QCOMPARE(run.requests(), 0);
        QCOMPARE(run.test.alerts.shown.size(), std::size_t(1));
        QVERIFY(run.test.alerts.shown.front().title.contains("Package Manager"_L1));
    }

    void tellsOfANewerVersion()
    {
        Updates run;
        const std::string pixel =
            "<![CDATA[<p>Faster.</p><img src=\"http://127.0.0.1/pixel\"><iframe src=\"/frame\">]]>";
        run.answer({Reply{200, feed(item("1.3", pixel))}});
        run.updates->checkInBackground();
        QTRY_VERIFY(Updates::window());
        QCOMPARE(Updates::text(u"headingField"_s), u"Quillon 1.3 Is Available"_s);
        QCOMPARE(Updates::text(u"versionsField"_s),
                 u"You have Quillon 1.2. The download page is at wrenfold.example."_s);
        QCOMPARE(Updates::text(u"notesField"_s), u"Faster."_s);
        // Neither what the notes name nor what the feed offers was fetched.
        QCOMPARE(run.requests(), 1);
        QVERIFY(run.test.desktop.opened.isEmpty());

        Updates::click(u"getItButton"_s);
        QCOMPARE(run.test.desktop.opened, QList<QUrl>{QUrl(u"https://wrenfold.example/get"_s)});
        QVERIFY(!Updates::window());
    }

    void tellsEachVersionOnce()
    {
        Updates run;
        const auto offer = [](const char* version) { return Reply{200, feed(item(version))}; };
        run.answer({offer("1.3"), offer("1.3"), offer("1.4"), offer("1.4"), offer("1.5"), offer("1.3")});
        run.updates->checkInBackground();
        QTRY_VERIFY(Updates::window());
        Updates::click(u"laterButton"_s);
        run.passHours();
        QCOMPARE(Updates::text(u"headingField"_s), u"Quillon 1.4 Is Available"_s);
        Updates::click(u"skipButton"_s);
        QVERIFY(!Updates::window());

        run.updates = std::make_unique<app::AppcastFeed>(); // the next start
        run.updates->setCheckIntervalSeconds(3600);
        run.updates->checkInBackground();
        run.passHours();
        QCOMPARE(Updates::text(u"headingField"_s), u"Quillon 1.5 Is Available"_s);
        QTest::keyClick(Updates::window(), Qt::Key_Escape);
        QVERIFY(!Updates::window());

        run.ask();
        QCOMPARE(Updates::text(u"headingField"_s), u"Quillon 1.3 Is Available"_s);
    }

    void switchedOff()
    {
        Updates run;
        QVERIFY(run.updates->automaticallyChecksForUpdates());
        run.updates->setAutomaticallyChecksForUpdates(false);
        run.updates->checkInBackground();
        run.test.time.advance(24h);
        QVERIFY(!settings::UserDefaults().boolForKey(settings::SUEnableAutomaticChecksKey));
        run.answer({Reply{200, feed(item("1.3"))}});
        run.updates->setAutomaticallyChecksForUpdates(true);
        QTRY_VERIFY(Updates::window());
        QCOMPARE(run.requests(), 1);
    }

    void nothingToOffer_data()
    {
        QTest::addColumn<Reply>("reply");
        QTest::addColumn<QString>("text"); // empty: why it failed, in one sentence
        const QString none = u"There is no newer version than Quillon 1.2."_s;
        QTest::newRow("the same version") << Reply{200, feed(item("1.2.0"))} << none;
        QTest::newRow("an older one") << Reply{200, feed(item("1.1"))} << none;
        QTest::newRow("no version") << Reply{200, feed("")} << none;
        QTest::newRow("an error") << Reply{500, "no"} << QString();
        QTest::newRow("not there") << Reply{404, feed(item("1.3"))} << QString();
        QTest::newRow("hangs") << Reply::hanging() << QString();
        QTest::newRow("slow") << Reply::dripping(feed(item("1.3")), 20ms) << QString();
        QTest::newRow("cut") << Reply::cut(feed(item("1.3"))) << QString();
        QTest::newRow("huge") << Reply{200, std::string(Appcast::LargestFeed + 1, ' ')} << QString();
        QTest::newRow("leads to a file") << Reply::redirect("file:///etc/passwd") << QString();
        QTest::newRow("no feed") << Reply{200, "<html/>"} << QString();
    }

    void nothingToOffer()
    {
        QFETCH(Reply, reply);
        QFETCH(QString, text);
        Updates run(500ms);
        run.answer({reply, reply, Reply{200, feed(item("1.3"))}});
        run.ask();
        QVERIFY(!Updates::window());
        const platform::Alert alert = run.test.alerts.shown.front();
        QCOMPARE(alert.title == u"Looking for Updates Failed"_s, text.isEmpty());
        QVERIFY2(alert.text == text || (text.isEmpty() && alert.text.endsWith(u'.') && !alert.text.contains(u". "_s)),
                 qPrintable(alert.text));
        QCOMPARE(alert.text.contains(u" status "_s), reply.status >= 400);

        // Nothing is said of it to who has not asked.
        run.updates->checkInBackground();
        run.passHours();
        QCOMPARE(run.test.alerts.shown.size(), std::size_t(1));
    }

    void askedWhileLooking()
    {
        Updates run;
        run.answer({Reply::dripping(feed(""), 1ms)});
        run.updates->checkInBackground();
        run.updates->check();
        run.updates->check();
        QTRY_COMPARE(run.test.alerts.shown.size(), std::size_t(1));
        QCOMPARE(run.requests(), 1);
    }

    void askedAndCalledOff()
    {
        Updates run(std::chrono::hours(1));
        run.answer({Reply::hanging(), Reply{200, feed(item("1.3"))}});
        run.updates->check();
        const auto progress = [] { return qobject_cast<QProgressDialog*>(QApplication::activeWindow()); };
        QTRY_VERIFY(progress() && progress()->isVisible());
        QTRY_COMPARE(run.requests(), 1);
        QTest::keyClick(progress(), Qt::Key_Escape);
        QTRY_VERIFY(!progress());
        run.ask();
        QCOMPARE(Updates::text(u"headingField"_s), u"Quillon 1.3 Is Available"_s);
        QVERIFY(run.test.alerts.shown.empty());
    }

    void leavesWhileTheServerHangs()
    {
        Updates run(std::chrono::hours(1));
        run.answer({Reply::hanging()});
        run.updates->check();
        QTRY_COMPARE(run.requests(), 1);
        run.updates.reset();
    }
};

QUILLON_OFFSCREEN_TEST_MAIN(UpdatesTest)
#include "UpdatesTest.moc"
