#include "platform/Paths.h"
#include "settings/KeyCodes.h"
#include "settings/Keys.h"
#include "settings/QuillonPreferences.h"
#include "settings/TolvanKeychainUtils.h"
#include "settings/UserDefaults.h"
#include "support/TestEnvironment.h"
#include "support/VerifyEach.h"

#include <QDir>
#include <QFile>
#include <QSettings>
#include <QSignalSpy>
#include <QTest>

#include <thread>
#include <tuple>

using namespace Qt::StringLiterals;
using namespace settings;
using Failure = platform::SecretStore::Failure;

namespace {

const QString Service = u"com.wrenfold.quillon"_s;

QString settingsFile()
{
    return platform::configFolder() + "/Quillon.conf"_L1;
}

void writeSettings(const QByteArray& text)
{
    QDir().mkpath(platform::configFolder());
    QFile file(settingsFile());
    if (file.open(QIODevice::WriteOnly))
        file.write(text);
}

QByteArray savedSettings()
{
    QFile file(settingsFile());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The program as the person starts it, with what an earlier run left behind.
struct Started
{
    explicit Started(const QByteArray& saved = {})
    {
        if (!saved.isNull())
            writeSettings(saved);
    }
    QuillonPreferences& preferences()
    {
        QuillonPreferences::setupDefaults();
        return QuillonPreferences::sharedPreferences();
    }
    UserDefaults& defaults()
    {
        QuillonPreferences::setupDefaults();
        return UserDefaults::standardUserDefaults();
    }
    support::TestRun run;
};

/// All that the keyring holds, "account=secret".
QStringList kept(const support::MemorySecretStore& secrets)
{
    QStringList all;
    for (const auto& [key, secret] : secrets.items)
        all << key.second + u'=' + QString::fromUtf8(secret);
    return all;
}

const QByteArray SignedIn = "[General]\nQuillonUrl=acme\nEmail=ann@example.com\nCompany=Acme\n";

} // namespace

class SettingsTest final : public QObject
{
    Q_OBJECT

private slots:
    void freshUserHasTheDefaults()
    {
        Started start;
        QuillonPreferences& preferences = start.preferences();
        VERIFY_EACH(preferences.email().isNull(), preferences.url().isNull(), preferences.companyName().isNull());
        VERIFY_EACH(preferences.password().isNull(), preferences.blinkColon(), !preferences.startAtLogin());
        VERIFY_EACH(!preferences.hideFromDock(), preferences.idleTimerEnabled());
        QCOMPARE(preferences.idleMinutesThreshold(), 10);
        QCOMPARE(preferences.timesheetWindowHotKeyCombo(), (KeyCombo{1572864, 46}));
        QCOMPARE(preferences.newTimerWindowHotKeyCombo(), (KeyCombo{1572864, 45}));
        QCOMPARE(start.defaults().integerForKey(QuillonToggleTimerHotKey), 11);
        QCOMPARE(start.defaults().integerForKey(QuillonToggleTimerHotKeyModifiers), 1572864);
        QVERIFY(!QFile::exists(settingsFile()));
    }

    void nonsenseReadsAsTheDefault()
    {
        struct Saved
        {
            const char* line;
            QLatin1StringView key;
            QVariant expected;
        };
        for (const Saved& saved : {Saved{"BlinkColon=maybe", "BlinkColon"_L1, true},
                                   {"BlinkColon=NO", "BlinkColon"_L1, false},
                                   {"StartAtLogin=1", "StartAtLogin"_L1, true},
                                   {"IdleMinutesThreshold=15 minutes", "IdleMinutesThreshold"_L1, 10},
                                   {"IdleMinutesThreshold=0", "IdleMinutesThreshold"_L1, 10},
                                   {"IdleMinutesThreshold=99999999999", "IdleMinutesThreshold"_L1, 10},
                                   {"IdleMinutesThreshold=99999999999999999999", "IdleMinutesThreshold"_L1, 10},
                                   {"IdleMinutesThreshold= 25 ", "IdleMinutesThreshold"_L1, 25},
                                   {"TimesheetHotKey=-1", "TimesheetHotKey"_L1, -1},
                                   {"TimesheetHotKey=-2", "TimesheetHotKey"_L1, 46},
                                   {"TimesheetHotKeyModifiers=-1", "TimesheetHotKeyModifiers"_L1, 1572864},
                                   {"Company=Smith, Jones", "Company"_L1, u"Smith, Jones"_s},
                                   {"\xff\xfe\x80", "IdleMinutesThreshold"_L1, 10}}) {
            Started start(QByteArray("[General]\n") + saved.line + "\n");
            const UserDefaults& defaults = start.defaults();
            if (saved.expected.typeId() == QMetaType::Bool)
                QVERIFY2(defaults.boolForKey(saved.key) == saved.expected.toBool(), saved.line);
            else if (saved.expected.typeId() == QMetaType::QString)
                QVERIFY2(defaults.stringForKey(saved.key) == saved.expected.toString(), saved.line);
            else
                QVERIFY2(defaults.integerForKey(saved.key) == saved.expected.toLongLong(), saved.line);
        }
    }

    void savedOptionsComeBack()
    {
        QByteArray saved;
        {
            Started first;
            QuillonPreferences& preferences = first.preferences();
            preferences.setEmail(u"änn@example.com"_s);
            preferences.setUrl(u"https://acme.quillon.example"_s);
            preferences.setCompanyName(u"Acme, \"Sons\" @ Co"_s);
            preferences.setBlinkColon(false);
            preferences.setStartAtLogin(true);
            preferences.setHideFromDock(true);
            preferences.setIdleTimerEnabled(false);
            preferences.setIdleMinutesThreshold(25);
            preferences.setTimesheetWindowHotKeyCombo({KeyCombo::Shift | KeyCombo::Command, 17});
            preferences.setNewTimerWindowHotKeyCombo({0, KeyCombo::NoKey});
            preferences.save();
            saved = savedSettings();
            QCOMPARE(QFile::permissions(settingsFile()) & (QFile::ReadGroup | QFile::ReadOther), QFile::Permissions());
        }
        Started again(saved);
        QuillonPreferences& preferences = again.preferences();
        QCOMPARE(preferences.email(), u"änn@example.com"_s);
        QCOMPARE(preferences.url(), u"acme"_s);
        QCOMPARE(preferences.companyName(), u"Acme, \"Sons\" @ Co"_s);
        VERIFY_EACH(!preferences.blinkColon(), preferences.startAtLogin(), preferences.hideFromDock());
        QVERIFY(!preferences.idleTimerEnabled());
        QCOMPARE(preferences.idleMinutesThreshold(), 25);
        QCOMPARE(preferences.timesheetWindowHotKeyCombo(), (KeyCombo{0x120000, 17}));
        QCOMPARE(preferences.newTimerWindowHotKeyCombo(), (KeyCombo{0, -1}));
        QCOMPARE(again.defaults().stringForKey(SCQuillonUrlKey), u"acme"_s);
        QVERIFY(!saved.contains("ToggleTimer"));
    }

    void savingKeepsWhatOthersWrote()
    {
        Started start("[General]\nCompany=Acme\nBlinkColon=true\n\n[Elsewhere]\nkey=1\n");
        start.preferences();
        writeSettings("[General]\nCompany=Acme\nBlinkColon=true\nFloatingStatusItem=true\n\n[Elsewhere]\nkey=2\n");
        start.defaults().setBool(QuillonBlinkCursorKey, false);
        start.defaults().setString(SCCompanyKey, QString());
        VERIFY_EACH(start.defaults().synchronize(), start.defaults().boolForKey("FloatingStatusItem"_L1));
        QVERIFY(start.defaults().stringForKey(SCCompanyKey).isNull());

        const QSettings file(settingsFile(), QSettings::IniFormat);
        QCOMPARE(file.allKeys(), QStringList({u"BlinkColon"_s, u"Elsewhere/key"_s, u"FloatingStatusItem"_s}));
        QCOMPARE(file.value(u"Elsewhere/key"_s).toInt(), 2);
        QCOMPARE(file.value(u"BlinkColon"_s).toBool(), false);

        // Nor is what was written once written again.
        writeSettings("[General]\nBlinkColon=true\n");
        start.defaults().setString(SCCompanyKey, u"Bank"_s);
        VERIFY_EACH(start.defaults().synchronize(), start.defaults().boolForKey(QuillonBlinkCursorKey));
    }

    void unwritableFileLosesNothing()
    {
        Started start;
        // In the way of the folder: even root cannot write below a file.
        QDir().mkpath(QFileInfo(platform::configFolder()).path());
        QFile obstacle(platform::configFolder());
        QVERIFY(obstacle.open(QIODevice::WriteOnly));
        start.defaults().setInteger(QuillonIdleMinutesThreshold, 20);
        QVERIFY(!start.defaults().synchronize());
        QCOMPARE(start.defaults().integerForKey(QuillonIdleMinutesThreshold), 20);

        VERIFY_EACH(obstacle.remove(), start.defaults().synchronize());
        QVERIFY(savedSettings().contains("IdleMinutesThreshold=20"));
    }

    void readsAreSafeWhileValuesChange()
    {
        Started start(SignedIn);
        QuillonPreferences& preferences = start.preferences();
        QStringList torn;
        {
            const std::jthread reader([&](const std::stop_token& stop) {
                while (!stop.stop_requested()) {
                    const QString url = preferences.credentials().fullUrl;
                    if (url != "https://acme.quillon.example"_L1 && url != "https://globex.quillon.example"_L1)
                        torn << url;
                }
            });
            for (int n = 0; n < 2000; ++n) {
                preferences.setUrl(n % 2 ? u"acme"_s : u"https://globex.quillon.example"_s);
                preferences.url();
            }
        }
        QCOMPARE(torn, QStringList());
    }

    void timeKeptHereLeavesTheSavedAccountAlone()
    {
        Started start(SignedIn);
        QuillonPreferences& preferences = start.preferences();
        preferences.keepTimeHere(
            {u"you@localhost"_s, u"secret of the run"_s, u".local"_s, u"http://local.localhost:1234"_s});
        QVERIFY(preferences.isPasswordLoaded());
        QCOMPARE(preferences.fullUrl(), u"http://local.localhost:1234"_s);
        QCOMPARE(*preferences.credentials().password, u"secret of the run"_s);
        QCOMPARE(preferences.emailInUse(), u"you@localhost"_s);
        QCOMPARE(preferences.url(), u"acme"_s);

        preferences.setIdleMinutesThreshold(33);
        preferences.save();
        QCOMPARE(UserDefaults(settingsFile()).integerForKey(QuillonIdleMinutesThreshold), 33);
        QCOMPARE(UserDefaults(settingsFile()).stringForKey(SCQuillonUrlKey), u"acme"_s);
        QCOMPARE(UserDefaults(settingsFile()).stringForKey(SCEmailKey), u"ann@example.com"_s);
        QCOMPARE(start.run.secrets.asked,
                 QStringList()); // nothing of it in the keyring, and nobody was asked to open it

        // Another account, about to be tried.
        preferences.setEmail(u"bob@example.com"_s);
        preferences.setPassword(u"sesame"_s);
        preferences.save();
        QCOMPARE(preferences.credentials().email, u"you@localhost"_s);
        QCOMPARE(preferences.savedCredentials().email, u"bob@example.com"_s);
        QCOMPARE(start.run.secrets.items.at({SCServiceName(), u"bob@example.com"_s}), QByteArray("sesame"));

        preferences.keepTimeElsewhere();
        QCOMPARE(preferences.fullUrl(), u"https://acme.quillon.example"_s);
        QCOMPARE(preferences.emailInUse(), u"bob@example.com"_s);
    }

    void accountNameIsNormalized()
    {
        for (const auto& [typed, expected] : {std::pair(u"acme"_s, u"acme"_s),
                                              {u"http://acme"_s, u"acme"_s},
                                              {u"https://acme.quillon.example"_s, u"acme"_s},
                                              {u"https://http://acme"_s, u"http://acme"_s},
                                              {u"http://ahttp://cme"_s, u"acme"_s},
                                              {u"HTTP://acme"_s, u"HTTP://acme"_s},
                                              {u"acme.quillon.example"_s, u"acme"_s},
                                              {u"acme.quillon.example/"_s, u"acme.quillon.example/"_s},
                                              {u"Acme.Quillon.Example"_s, u"Acme.Quillon.Example"_s}}) {
            Started start;
            start.preferences().setUrl(typed);
            QCOMPARE(start.preferences().credentials().url, expected);
            QCOMPARE(start.preferences().url(), expected);
        }
        Started team;
        team.run.info.set("QuillonServiceDomain"_L1, u".office.localhost:8443"_s);
        team.preferences().setUrl(u"https://team.office.localhost:8443"_s);
        QCOMPARE(team.preferences().url(), u"team"_s);
        QCOMPARE(team.preferences().fullUrl(), u"https://team.office.localhost:8443"_s);
    }

    void baseAddress()
    {
        // A development host without a domain: never the service itself.
        for (const auto& [localDebug, domain, expected] :
             {std::tuple(false, u".localhost:4711"_s, u"https://acme.quillon.example"_s),
              std::tuple(true, u".localhost:4711"_s, u"http://acme.localhost:4711"_s),
              std::tuple(true, QString(), u"http://acme"_s)}) {
            Started start(SignedIn);
            start.run.info.set("QuillonLocalDebug"_L1, localDebug);
            start.run.info.set("QuillonDevelopmentDomain"_L1, domain);
            QCOMPARE(start.preferences().fullUrl(), expected);
            QCOMPARE(start.preferences().credentials().fullUrl, expected);
        }
    }

    void passwordIsLookedUpLateAndOnce()
    {
        Started start(SignedIn);
        start.run.secrets.items[{Service, u"ann@example.com"_s}] = "sesame";
        QuillonPreferences& preferences = start.preferences();
        QCOMPARE(start.run.secrets.asked, QStringList());
        preferences.setEmail(u"typed@example.com"_s); // not yet saved
        QCOMPARE(preferences.password(), u"sesame"_s);
        QCOMPARE(*preferences.credentials().password, u"sesame"_s);
        QCOMPARE(preferences.password(), u"sesame"_s);
        QVERIFY(!preferences.passwordKeptForThisRunOnly());
        QCOMPARE(start.run.secrets.asked, QStringList(u"lookup com.wrenfold.quillon ann@example.com"_s));
    }

    void passwordGoesToTheKeyringOnly()
    {
        Started start(SignedIn);
        QuillonPreferences& preferences = start.preferences();
        start.run.secrets.items[{Service, u"ann@example.com"_s}] = "old";
        preferences.save(); // not seen yet
        QCOMPARE(kept(start.run.secrets), QStringList(u"ann@example.com=old"_s));
        preferences.setPassword(u"nëw-sesame"_s);
        preferences.save();
        QCOMPARE(kept(start.run.secrets), QStringList(u"ann@example.com=nëw-sesame"_s));
        VERIFY_EACH(savedSettings().contains("ann@example.com"), !savedSettings().contains("sesame"));

        preferences.setEmail(u"bob@example.com"_s);
        preferences.setPassword(u"two"_s);
        preferences.save();
        QCOMPARE(kept(start.run.secrets), QStringList({u"ann@example.com=nëw-sesame"_s, u"bob@example.com=two"_s}));
    }

    void passwordNotSeenYetGoesWithTheAccount()
    {
        Started start(SignedIn);
        start.run.secrets.items[{Service, u"ann@example.com"_s}] = "old";
        start.preferences().setEmail(u"bob@example.com"_s);
        start.preferences().save();
        QCOMPARE(kept(start.run.secrets), QStringList({u"ann@example.com=old"_s, u"bob@example.com=old"_s}));
    }

    void lockedKeyringIsAskedForOnce()
    {
        Started start(SignedIn);
        start.run.secrets.items[{Service, u"ann@example.com"_s}] = "sesame";
        start.run.secrets.failure = Failure::Locked;
        QuillonPreferences& preferences = start.preferences();
        QSignalSpy arrived(&preferences, &QuillonPreferences::passwordArrived);
        QVERIFY(preferences.password().isNull());
        preferences.loadSaved();
        QVERIFY(preferences.password().isNull());
        QCOMPARE(start.run.secrets.asked.filter(u"unlock"_s).size(), 1);

        start.run.secrets.answerPrompts(true);
        QCOMPARE(arrived.size(), 0);
        QTRY_COMPARE(arrived.size(), 1);
        QCOMPARE(preferences.password(), u"sesame"_s);
        QVERIFY(!preferences.passwordKeptForThisRunOnly());
    }

    void aLatePasswordMayCountForNothing()
    {
        // Another was typed meanwhile, or the account is another by now.
        for (const QString& typed : {u"typed"_s, QString()}) {
            Started start(SignedIn);
            start.run.secrets.items[{Service, u"ann@example.com"_s}] = "old";
            start.run.secrets.failure = Failure::Locked;
            QuillonPreferences& preferences = start.preferences();
            QSignalSpy arrived(&preferences, &QuillonPreferences::passwordArrived);
            preferences.password();
            if (typed.isNull()) {
                start.defaults().setString(SCEmailKey, u"bob@example.com"_s);
                preferences.loadSaved();
            } else {
                preferences.setPassword(typed);
            }
            start.run.secrets.answerPrompts(true);
            bool later = false;
            start.run.run.postToMain([&] { later = true; });
            QTRY_VERIFY(later);
            QCOMPARE(preferences.password(), typed);
            QCOMPARE(arrived.size(), 0);
        }
    }

    void withoutKeyringThePasswordLastsThisRun()
    {
        Started start(SignedIn);
        start.run.secrets.failure = Failure::NoService;
        QuillonPreferences& preferences = start.preferences();
        QVERIFY(preferences.passwordKeptForThisRunOnly());
        preferences.setPassword(u"sesame"_s);
        preferences.save();
        QCOMPARE(preferences.password(), u"sesame"_s);
        VERIFY_EACH(preferences.passwordKeptForThisRunOnly(), start.run.secrets.asked.filter(u"unlock"_s).isEmpty());
        QVERIFY(!savedSettings().contains("sesame"));

        start.run.secrets.failure.reset();
        preferences.save();
        QVERIFY(!preferences.passwordKeptForThisRunOnly());

        // Locked: it depends on what the person answers, and on that password alone.
        start.run.secrets.failure = Failure::Locked;
        QSignalSpy answered(&preferences, &QuillonPreferences::keyringAnswered);
        preferences.save();
        QVERIFY(!preferences.passwordKeptForThisRunOnly());
        start.run.secrets.answerPrompts(false);
        QTRY_COMPARE(answered.size(), 1);
        QVERIFY(preferences.passwordKeptForThisRunOnly());
        preferences.setPassword(u"newer"_s);
        preferences.save();
        preferences.setPassword(u"newest"_s);
        start.run.secrets.answerPrompts(true);
        bool told = false;
        start.run.run.postToMain([&] { told = true; });
        QTRY_VERIFY(told);
        QVERIFY(preferences.passwordKeptForThisRunOnly());
        QCOMPARE(answered.size(), 1);
    }

    void keychainResults()
    {
        Started start;
        using Utils = TolvanKeychainUtils;
        const QString none;
        const KeychainError missing{TolvanKeychainUtilsErrorDomain, -2000};
        QCOMPARE(Utils::getPasswordForUsername(none, Service).error(), missing);
        QCOMPARE(Utils::getPasswordForUsername(u"ann"_s, none).error(), missing);
        QCOMPARE(Utils::getKeychainItemReferenceForUsername(none, Service).error(), missing);
        QCOMPARE(Utils::storeUsername(u"ann"_s, none, Service, true).error(), missing);
        QCOMPARE(Utils::deleteItemForUsername(none, Service).error(),
                 (KeychainError{TolvanKeychainUtilsErrorDomain, 2000}));
        QCOMPARE(start.run.secrets.asked, QStringList());

        QCOMPARE(Utils::getPasswordForUsername(u"ann"_s, Service).value(), std::nullopt);
        QVERIFY(Utils::deleteItemForUsername(u"ann"_s, Service));
        QVERIFY(Utils::storeUsername(u"ann"_s, u"one"_s, Service, false));
        QVERIFY(Utils::storeUsername(u"ann"_s, u"two"_s, Service, false)); // overwritten whatever the flag says
        QCOMPARE(Utils::getPasswordForUsername(u"ann"_s, Service).value(), u"two"_s);
        QVERIFY(Utils::storeUsername(u"ann"_s, u""_s, Service, true));
        QCOMPARE(Utils::getPasswordForUsername(u"ann"_s, Service).value(), u""_s);
        VERIFY_EACH(Utils::deleteItemForUsername(u"ann"_s, Service), start.run.secrets.items.empty());
    }

    void keychainFailures()
    {
        using Utils = TolvanKeychainUtils;
        for (const auto& [failure, code] : {std::pair(Failure::NoService, -25291), std::pair(Failure::Locked, -25308),
                                            std::pair(Failure::NotInstalled, -25291),
                                            std::pair(Failure::TimedOut, -25312), std::pair(Failure::Other, -25299)}) {
            Started start;
            start.run.secrets.items[{Service, u"ann"_s}] = "sesame";
            start.run.secrets.failure = failure;
            QCOMPARE(Utils::getPasswordForUsername(u"ann"_s, Service).error().code, code);
            QVERIFY(!Utils::storeUsername(u"ann"_s, u"new"_s, Service, true));
            // A locked item is there all the same; storing asks the user to unlock it.
            const bool locked = failure == Failure::Locked;
            QCOMPARE(Utils::getKeychainItemReferenceForUsername(u"ann"_s, Service).has_value(), locked);
            start.run.secrets.answerPrompts(true);
            QCOMPARE(kept(start.run.secrets), QStringList(locked ? u"ann=new"_s : u"ann=sesame"_s));
        }
    }

    void longPasswordsAreCut()
    {
        Started start;
        const auto read = [&](const QByteArray& stored) {
            start.run.secrets.items[{Service, u"ann"_s}] = stored;
            return TolvanKeychainUtils::getPasswordForUsername(u"ann"_s, Service).value();
        };
        QCOMPARE(read(QByteArray(1024, 'x')), QString(1023, u'x'));
        // Never through a character.
        QCOMPARE(read(QByteArray(1021, 'x') + "\u00e9y"), QString(1021, u'x') + u"\u00e9"_s);
        QCOMPARE(read(QByteArray(1022, 'x') + "\u00e9y"), QString(1022, u'x'));
        QCOMPARE(read("not UTF-8: \xff"), std::nullopt);
    }

    void keyCodesAreOneToOne()
    {
        QMap<QString, qint64> names;
        QMap<int, qint64> keys;
        for (qint64 code = 0; code < 128; ++code) {
            const QString name = SRStringForKeyCode(code);
            if (name.isEmpty())
                continue;
            const int evdev = evdevCode(code).value_or(0);
            QVERIFY2(!names.contains(name), qPrintable(name));
            QVERIFY2(!keys.contains(evdev), qPrintable(name));
            QCOMPARE(codeForEvdev(evdev), code);
            names.insert(name, code);
            keys.insert(evdev, code);
        }
        QCOMPARE(names.size(), 73);
    }

    void keyCodes()
    {
        struct Key
        {
            qint64 code;
            quint64 flags;
            QString name;
            QString sequence;
            int evdev;
        };
        for (const Key& key : {Key{46, 0x180000, u"M"_s, u"Ctrl+Alt+M"_s, 50},
                               {11, 0x40000, u"B"_s, u"Meta+B"_s, 48},
                               {18, 0x1E0000, u"1"_s, u"Meta+Ctrl+Alt+Shift+1"_s, 2},
                               {96, 0x800100, u"F5"_s, u"F5"_s, 63}, // other bits
                               {116, 0x100000, u"Page Up"_s, u"Ctrl+PgUp"_s, 104},
                               {43, 0x100000, u","_s, u"Ctrl+,"_s, 51},
                               {-1, 0x180000, {}, {}, 0},
                               {10, 0x180000, {}, {}, 0}}) { // unknown
            QCOMPARE(SRStringForKeyCode(key.code), key.name);
            const QKeySequence sequence = keySequence({key.flags, key.code});
            QCOMPARE(sequence.toString(QKeySequence::PortableText), key.sequence);
            QCOMPARE(evdevCode(key.code).value_or(0), key.evdev);
            if (key.evdev) {
                QCOMPARE(codeForEvdev(key.evdev), key.code);
                QCOMPARE(keyFlags(sequence[0].keyboardModifiers()), key.flags & 0x1E0000);
            }
        }
    }
};

QTEST_GUILESS_MAIN(SettingsTest)
#include "SettingsTest.moc"
