#include "PreferencesRun.h"

#include "preferences/SRRecorderControl.h"
#include "support/InRow.h"
#include "support/StillStyle.h"
#include "support/TestMain.h"
#include "support/VerifyEach.h"

#include <QAccessible>
#include <QClipboard>
#include <QTabWidget>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto Unverified =
    "Your credentials could not be verified. Please check to make sure they are correct and try again."_L1;

settings::QuillonPreferences& settingsOfRun()
{
    return settings::QuillonPreferences::sharedPreferences();
}

QStringList logged;

void keepLog(QtMsgType, const QMessageLogContext&, const QString& text)
{
    logged << text;
}

/// With the window open.
struct OpenRun : PreferencesRun
{
    explicit OpenRun(bool signedIn = false) : PreferencesRun(signedIn) { open(); }
};

} // namespace

class PreferencesTest final : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QApplication::setStyle(new support::StillStyle); }

    void opensWithWhatIsStored()
    {
        PreferencesRun run(true);
        auto& defaults = settings::UserDefaults::standardUserDefaults();
        defaults.setString(settings::SCCompanyKey, u"Acme Ltd"_s);
        defaults.setBool(settings::QuillonBlinkCursorKey, false);
        defaults.setBool(settings::QuillonHideFromDockKey, true);
        defaults.setInteger(settings::QuillonIdleMinutesThreshold, 25);
        settingsOfRun().loadSaved();
        run.test.updates.automatic = false;
        run.open();

        QCOMPARE(run.text("passwordField"), u"secret"_s);
        QCOMPARE(run.text("companyField"), u"Acme Ltd"_s);
        QCOMPARE(run.text("idleTimerMinutesField"), u"25"_s);
        for (const char* name : {"blinkColonButton", "startAtLoginButton", "showInDockButton", "checkForUpdatesButton"})
            QVERIFY2(!run.part<QAbstractButton>(name).isChecked(), name);
        VERIFY_EACH(run.part<QAbstractButton>("idleTimerEnabledButton").isChecked(),
                    run.part("updatesHint").isHidden());
        QCOMPARE(run.test.desktop.activated, QList<QWidget*>{&run.controller->window()});
        run.controller->window().showMinimized();
        run.controller->show();
        QVERIFY(!run.controller->window().isMinimized());
    }

    void signsIn()
    {
        PreferencesRun run;
        logged.clear();
        const auto before = qInstallMessageHandler(keepLog);
        auto& controller = run.open();
        QSignalSpy changed(&settingsOfRun(), &settings::QuillonPreferences::preferencesChanged);

        run.signIn(u"https://acme.quillon.example"_s, u"ann@example.com"_s, u" wrong-Pa55 "_s);
        VERIFY_EACH(controller.waitingForAuthenticationCheck(), !run.part("doneButton").isEnabled());
        QCOMPARE(run.part<QLabel>("checkingLabel").text(), u"Checking your account…"_s);
        QTRY_COMPARE(run.sheet(), Unverified);
        VERIFY_EACH(!controller.waitingForAuthenticationCheck(), controller.window().isVisible());
        QCOMPARE(changed.count(), 0);
        QCOMPARE(run.part<QLabel>("checkingLabel").text(), QString());
        QVERIFY(run.settingsFile().contains("QuillonUrl=acme\n"));
        QCOMPARE(settingsOfRun().password(), u" wrong-Pa55 "_s);
        run.key(Qt::Key_Return);
        QTRY_COMPARE(run.sheet(), QString());
        QVERIFY(run.part("doneButton").isEnabled());

        run.type("passwordField", u"secret"_s);
        run.key(Qt::Key_Return);
        QTRY_VERIFY(!controller.window().isVisible());
        QCOMPARE(changed.count(), 1);
        QCOMPARE(run.requested(), QStringList(2, u"GET /account/who_am_i"_s));
        QCOMPARE(settingsOfRun().credentials().email, u"ann@example.com"_s);
        const auto secrets = run.test.secrets.items;
        QCOMPARE(secrets.at({settings::SCServiceName(), u"ann@example.com"_s}), "secret");
        QCOMPARE(run.owner.asked, QStringList());

        qInstallMessageHandler(before);
        const QByteArray kept = run.settingsFile() + logged.join(u'\n').toUtf8();
        VERIFY_EACH(!kept.contains("secret"), !kept.contains("wrong-Pa55"));
    }

    void options()
    {
        OpenRun run(true);
        run.type("companyField", u"Acme Ltd"_s);
        run.part<QTabWidget>("tabView").setCurrentIndex(1);
        for (const char* name : {"startAtLoginButton", "blinkColonButton", "checkForUpdatesButton"})
            run.click(name);
        run.type("idleTimerMinutesField", u"42"_s);
        run.part("idleTimerEnabledButton").setFocus();
        run.key(Qt::Key_Space);
        QVERIFY(!run.part("idleTimerMinutesField").isEnabled());
        run.part("showInDockButton").setFocus();
        run.key(Qt::Key_Space);
        run.click("doneButton");
        QCOMPARE(run.owner.asked, QStringList());
        QTRY_VERIFY(!run.controller->window().isVisible());

        const auto& saved = settingsOfRun();
        QCOMPARE(saved.companyName(), u"Acme Ltd"_s);
        VERIFY_EACH(saved.startAtLogin(), !saved.blinkColon(), !saved.idleTimerEnabled(), saved.hideFromDock());
        QCOMPARE(saved.idleMinutesThreshold(), 42);
        VERIFY_EACH(!run.test.updates.automatic, run.settingsFile().contains("HideInDock=true\n"));
        QCOMPARE(run.owner.asked, QStringList{u"relaunch"_s});
    }

    // The settings are kept for sessions in which they mean something.
    void choicesThatThisDesktopDoesNotHave()
    {
        PreferencesRun run(true);
        auto& defaults = settings::UserDefaults::standardUserDefaults();
        defaults.setBool(settings::QuillonHideFromDockKey, true);
        defaults.setBool(settings::QuillonIdleTimerEnabled, false);
        settingsOfRun().loadSaved();
        run.test.desktop.hasTaskBarRequests = false;
        run.test.updates.setUp = false;
        auto& controller = run.open();
        const auto& box = run.part<QAbstractButton>("showInDockButton");
        VERIFY_EACH(!box.isEnabled(), box.isChecked());
        QCOMPARE(run.part<QLabel>("dockHint").text(), u"Wayland desktops always show a program there."_s);
        QCOMPARE(box.accessibleDescription(), u"Wayland desktops always show a program there."_s);
        const auto& updates = run.part<QAbstractButton>("checkForUpdatesButton");
        VERIFY_EACH(!updates.isEnabled(), !updates.isChecked(), !run.part("updatesHint").isHidden(),
                    !run.part("idleTimerMinutesField").isEnabled());
        QCOMPARE(updates.accessibleDescription(), u"They come from the package manager."_s);
        run.click("doneButton");
        QTRY_VERIFY(!controller.window().isVisible());
        VERIFY_EACH(run.test.updates.automatic, run.settingsFile().contains("HideInDock=true\n"));
    }

    void knowsChangedCredentials()
    {
        OpenRun run(true);
        for (const char* name : {"quillonUrlField", "emailField", "passwordField"}) {
            auto& field = run.part<QLineEdit>(name);
            const QString before = field.text();
            field.setText(u"  "_s + before + u"\n"_s);
            QVERIFY(!run.controller->credentialsChanged());
            field.setText(before + u"x"_s);
            QVERIFY(run.controller->credentialsChanged());
            field.setText(before);
        }
    }

    void closingIsDone()
    {
        OpenRun run;
        VERIFY_EACH(!run.controller->window().close(), run.controller->window().isVisible());
        QVERIFY(run.sheet().startsWith("Your Email, Secure Site, and Password"_L1));
        // The sheet comes first.
        QVERIFY(!run.controller->window().close());
        run.key(Qt::Key_Escape);
        QTRY_COMPARE(run.sheet(), QString());
        QVERIFY(run.controller->window().isVisible());

        run.type("quillonUrlField", u"acme"_s);
        run.type("emailField", u"ann@example.com"_s);
        run.type("passwordField", u"secret"_s);
        // Nothing is sent or saved before somebody says so.
        run.key(Qt::Key_Escape);
        VERIFY_EACH(run.controller->window().isVisible(), !run.controller->waitingForAuthenticationCheck());
        VERIFY_EACH(run.settingsFile().isEmpty(), run.requested().isEmpty());
        VERIFY_EACH(!run.controller->window().close(), run.controller->waitingForAuthenticationCheck());
        QTRY_VERIFY(!run.controller->window().isVisible());

        run.open();
        QVERIFY(!run.controller->window().close());
        QTRY_VERIFY(!run.controller->window().isVisible());
    }

    void quitLeaves()
    {
        OpenRun run;
        QEvent quit(QEvent::Quit);
        QCoreApplication::sendEvent(qApp, &quit);
        QVERIFY(!run.controller->window().isVisible());
    }

    void serviceThatDoesNotAnswer()
    {
        OpenRun run;
        const auto& said = run.part<QLabel>("checkingLabel");
        run.peer.answer("GET /account/who_am_i", {support::Reply::hanging()});
        run.signIn(u"acme"_s, u"ann@example.com"_s, u"secret"_s);
        run.test.time.advance(9s);
        QCOMPARE(said.text(), u"Checking your account…"_s);
        QTRY_VERIFY(!run.peer.asked().isEmpty());
        run.test.time.advance(1s);
        QCOMPARE(said.text(), u"No answer yet"_s);
        run.peer.stop();
        QTRY_COMPARE(said.text(), u"The connection to the service was lost."_s);
        run.click("tryAgainButton");
        QTRY_COMPARE(said.text(), u"The service could not be reached."_s); // without any wait
        VERIFY_EACH(run.part("tryAgainButton").isVisible(), !run.part("doneButton").isEnabled());

        // Closing tries again as well. Now somebody is there.
        run.controller->window().close();
        run.controller->authenticationSucceeded();
        VERIFY_EACH(!run.controller->window().isVisible(), run.part("doneButton").isEnabled());
        QCOMPARE(run.test.time.timers(), 0);
    }

    void outcomesThatNobodyAskedFor()
    {
        OpenRun run;
        QSignalSpy changed(&settingsOfRun(), &settings::QuillonPreferences::preferencesChanged);
        run.controller->authenticationFailed();
        run.controller->authenticationSucceeded();
        QCOMPARE(run.sheet(), QString());
        QVERIFY(run.controller->window().isVisible());
        QCOMPARE(changed.count(), 0);
        QCOMPARE(run.owner.asked, QStringList());
    }

    void loginItem()
    {
        const QString self = QCoreApplication::applicationFilePath();
        const QStringList others{u"/usr/bin/other"_s, u"/usr"_s + self};
        for (const bool start : {true, false}) {
            for (const bool opens : {true, false}) {
                PreferencesRun run;
                auto& login = run.test.environment.login;
                for (const QString& program : start ? others : others + QStringList{self})
                    login.insert(program, {});
                login.opens = opens;
                auto& controller = run.open();
                run.part<QAbstractButton>("startAtLoginButton").setChecked(start);
                controller.saveCredentials();
                run.controller.reset(); // waits
                QCOMPARE(login.programs(), start == opens ? others + QStringList{self} : others);
            }
        }
    }

    void defaultRate()
    {
        OpenRun run;
        auto& field = run.part<QLineEdit>("defaultRateField");
        // Passing through writes nothing into it.
        field.clear();
        field.setFocus();
        run.key(Qt::Key_Tab);
        QCOMPARE(field.text(), QString());
        run.controller->setUsingDefaultRate(false);
        QVERIFY(!field.isEnabled());
    }

    void passwordIsNotSpoken()
    {
        OpenRun run;
        auto& field = run.part<QLineEdit>("passwordField");
        auto* const interface = QAccessible::queryAccessibleInterface(&field);
        const auto heard = [&] {
            return interface->text(QAccessible::Value) + u'/' + interface->textInterface()->text(0, 100);
        };
        run.type("passwordField", u"open"_s);
        QCOMPARE(heard(), u"••••/••••"_s);
        run.click("showPasswordButton");
        QCOMPARE(field.echoMode(), QLineEdit::Normal);
        QCOMPARE(heard(), u"••••/••••"_s);
        run.type("passwordField", u"Sesame"_s);
        QCOMPARE(heard(), u"••••••/••••••"_s);
        interface->editableTextInterface()->insertText(6, u"!"_s);
        QCOMPARE(field.text(), u"Sesame!"_s);
        auto* const text = interface->textInterface();
        text->setSelection(0, 2, 4);
        QCOMPARE(field.selectedText(), u"sa"_s);
        text->removeSelection(0);
        VERIFY_EACH(!field.hasSelectedText(), text->selectionCount() == 0);
        text->addSelection(1, 6);
        QCOMPARE(field.selectedText(), u"esame"_s);
        int start = -1, end = -1;
        text->selection(0, &start, &end);
        VERIFY_EACH(start == 1, end == 6, text->selectionCount() == 1);
        text->setCursorPosition(3);
        VERIFY_EACH(field.cursorPosition() == 3, text->cursorPosition() == 3);
        QVERIFY(interface->state().passwordEdit);
        QCOMPARE(QAccessible::queryAccessibleInterface(&run.part("showPasswordButton"))->text(QAccessible::Name),
                 u"Show Password"_s);
        // Hidden again the next time.
        run.controller->window().hide();
        run.open();
        QCOMPARE(field.echoMode(), QLineEdit::Password);
    }

    // Run by itself on a small screen with large text.
    void fitsTheScreen()
    {
        OpenRun run;
        QWidget& window = run.controller->window();
        auto& tabs = run.part<QTabWidget>("tabView");
        // Before the toolkit knows the window's frame, a change of its size would move it; nobody is as quick.
        QVERIFY(QTest::qWaitForWindowActive(&window, 30000));
        QGuiApplication::sync();
        QTRY_VERIFY(!window.windowHandle()->frameMargins().isNull());
        for (int i = tabs.count() - 1; i >= 0; --i) {
            tabs.setCurrentIndex(i);
            QTRY_COMPARE(window.frameGeometry() & window.screen()->availableGeometry(), window.frameGeometry());
            for (const char* always : {"helpButton", "doneButton"})
                QVERIFY(window.rect().contains(run.part(always).geometry()));
        }
        // What is out of sight is reached with the keyboard.
        auto& last = run.part("learnMoreLink");
        last.setFocus(Qt::TabFocusReason);
        QTRY_VERIFY(tabs.currentWidget()->rect().contains(
            QRect(last.mapTo(tabs.currentWidget(), QPoint()), last.size()).center()));
    }

    // Run by itself on an X server: no other platform has a primary selection.
    void passwordIsNotOffered()
    {
        QClipboard& clipboard = *QGuiApplication::clipboard();
        if (!clipboard.supportsSelection())
            QSKIP("there is no primary selection here");
        OpenRun run;
        run.type("passwordField", u"Sesame"_s);
        run.click("showPasswordButton");
        run.type("emailField", u"ann@example.com"_s);
        // Every way to select, and whether a field offers what was selected that way.
        const auto offers = [&](const char* name) {
            auto& field = run.part<QLineEdit>(name);
            const QPoint end(field.width() / 2, field.height() / 2);
            QList<bool> offered;
            const auto note = [&] {
                offered << (!field.selectedText().isEmpty() &&
                            clipboard.text(QClipboard::Selection) == field.selectedText());
                clipboard.setText(u"another program's"_s, QClipboard::Selection);
                field.end(false);
            };
            QTest::mousePress(&field, Qt::LeftButton, {}, end);
            QTest::mouseMove(&field, QPoint(2, end.y()));
            QTest::mouseRelease(&field, Qt::LeftButton, {}, QPoint(2, end.y()));
            note();
            QTest::mouseDClick(&field, Qt::LeftButton, {}, QPoint(20, end.y()));
            note();
            QTest::keyClick(&field, Qt::Key_Left, Qt::ShiftModifier);
            note();
            QTest::keyClick(&field, Qt::Key_A, Qt::ControlModifier);
            note();
            field.selectAll();
            note();
            return offered;
        };
        QCOMPARE(offers("emailField").count(true), 3);
        QCOMPARE(offers("passwordField").count(true), 0);
        QCOMPARE(run.part<QLineEdit>("passwordField").echoMode(), QLineEdit::Normal);
        QVERIFY(!run.part<QLineEdit>("passwordField").dragEnabled());
    }

    void keyringThatIsMissing()
    {
        OpenRun run;
        run.test.secrets.failure = platform::SecretStore::Failure::NoService;
        for (const bool missing : {false, true}) {
            QCOMPARE(run.part("keyringLabel").isVisible(), missing);
            run.controller->window().hide();
            run.controller->saveCredentials();
            run.open();
        }
        run.test.secrets.failure.reset();
        run.controller->saveCredentials();
        QVERIFY(!run.part("keyringLabel").isVisible());
        // One that the person would not unlock is none either.
        run.test.secrets.failure = platform::SecretStore::Failure::Locked;
        for (const bool unlocks : {false, true}) {
            run.controller->saveCredentials();
            run.test.secrets.answerPrompts(unlocks);
            QTRY_COMPARE(run.part("keyringLabel").isVisible(), !unlocks);
        }
    }

    void passwordThatArrivesLate()
    {
        PreferencesRun run(true);
        run.test.secrets.failure = platform::SecretStore::Failure::Locked;
        run.open();
        QCOMPARE(run.text("passwordField"), QString());
        run.test.secrets.answerPrompts(true);
        QTRY_COMPARE(run.text("passwordField"), u"secret"_s);
    }

    void shortcuts()
    {
        PreferencesRun run(true);
        auto& keys = run.test.environment.keys;
        auto& controller = run.open();
        run.part<QTabWidget>("tabView").setCurrentIndex(2);
        const auto status = [&](const char* name) { return run.part<QLabel>(name).text(); };
        const auto type = [&](quint32 scanCode, Qt::Key key, Qt::KeyboardModifiers modifiers) {
            QKeyEvent press(QEvent::KeyPress, key, modifiers, scanCode, 0, 0);
            QCoreApplication::sendEvent(controller.window().focusWidget(), &press);
        };
        QCOMPARE(status("newTimerShortcutStatus"), QString());

        // The one in use can be typed again.
        run.click("toggleTimesheetShortcutControl");
        QVERIFY(keys.paused);
        type(58, Qt::Key_M, Qt::ControlModifier | Qt::AltModifier);
        QVERIFY(!keys.paused);

        run.click("newTimerShortcutControl");
        type(58, Qt::Key_M, Qt::ControlModifier | Qt::AltModifier);
        QCOMPARE(status("newTimerShortcutStatus"), u"Both shortcuts are the same."_s);
        run.click("newTimerShortcutControl");
        type(65, Qt::Key_Space, Qt::NoModifier);
        QCOMPARE(status("newTimerShortcutStatus"), u"Use it together with Ctrl, Alt or Super."_s);
        QVERIFY(keys.paused);
        keys.free = false;
        type(33, Qt::Key_P, Qt::MetaModifier | Qt::ShiftModifier);
        QCOMPARE(status("newTimerShortcutStatus"), u"Not available: another program may be using it."_s);
        run.part("toggleTimesheetShortcutControl").setFocus();
        keys.free.reset();
        run.key(Qt::Key_Delete);
        for (const char* name : {"toggleTimesheetShortcutStatus", "newTimerShortcutStatus"})
            QCOMPARE(status(name), u"Takes effect when you press Done."_s);

        // Until then nothing was taken, and what there was goes on: also when the window goes while one is recorded.
        run.click("newTimerShortcutControl");
        QVERIFY(keys.paused);
        controller.window().hide();
        VERIFY_EACH(!keys.paused, keys.press(Qt::ControlModifier | Qt::AltModifier | Qt::Key_M));
        QVERIFY(keys.press(Qt::ControlModifier | Qt::AltModifier | Qt::Key_N));
        QCOMPARE(keys.registrations, 2);
        controller.saveCredentials();
        QCOMPARE(settingsOfRun().newTimerWindowHotKeyCombo(), (settings::KeyCombo{0x60000, 35}));
        QCOMPARE(settingsOfRun().timesheetWindowHotKeyCombo().code, settings::KeyCombo::NoKey);
        QCOMPARE(keys.registered.size(), std::size_t(1));
        keys.setStatus(2, {platform::HotKeys::State::Registered, u"Press Meta+F9"_s});
        QTRY_COMPARE(status("newTimerShortcutStatus"), u"Press Meta+F9"_s);
        QCOMPARE(status("toggleTimesheetShortcutStatus"), QString());

        QString reason;
        QVERIFY(!controller.shortcutRecorder(run.part<preferences::SRRecorderControl>("newTimerShortcutControl"), 46,
                                             0x180000, reason));
        QCOMPARE(reason, u"no"_s);
    }

    void helpAndQuit()
    {
        PreferencesRun run;
        run.owner.isLoggedOut = true;
        run.open();
        run.click("helpButton");
        run.click("quitButton");
        run.key(Qt::Key_Q, Qt::ControlModifier);
        QCOMPARE(run.owner.asked, QStringList({u"help"_s, u"quit"_s, u"quit"_s}));
    }

    void greetsWhoHasNoAccount()
    {
        PreferencesRun run;
        run.owner.isLoggedOut = true;
        auto& controller = run.open();
        QSignalSpy changed(&settingsOfRun(), &settings::QuillonPreferences::preferencesChanged);
        // First in the window, for the eye and for the keys; below, what nobody needs says so.
        QCOMPARE(run.focused(), u"keepTimeHereButton"_s);
        QVERIFY(run.part("keepHereBox").y() < run.part("accountFields").y());
        run.key(Qt::Key_Tab);
        QCOMPARE(run.focused(), u"quillonUrlField"_s);

        run.type("emailField", u"ann@"_s); // thought better of
        run.click("keepTimeHereButton");
        QCOMPARE(run.owner.asked, QStringList(u"here"_s));
        VERIFY_EACH(!run.part("keepTimeHereButton").isEnabled(), !run.part("doneButton").isEnabled());
        run.owner.kept(false);
        VERIFY_EACH(controller.window().isVisible(), run.part("doneButton").isEnabled());
        QCOMPARE(changed.count(), 0);

        run.part<QAbstractButton>("blinkColonButton").setChecked(false);
        run.key(Qt::Key_K, Qt::AltModifier);
        QTRY_COMPARE(run.owner.asked, QStringList(2, u"here"_s));
        settingsOfRun().keepTimeHere({u"you@localhost"_s, u"own"_s, u".local"_s, u"http://local.localhost:1"_s});
        run.owner.kept(true);
        QVERIFY(!controller.window().isVisible());
        QCOMPARE(changed.count(), 1);
        QCOMPARE(run.test.secrets.asked.filter(u"store"_s), QStringList());
        QVERIFY(run.settingsFile().contains("BlinkColon=false"));
        VERIFY_EACH(!run.settingsFile().contains("localhost"), !run.settingsFile().contains("ann@"));
        QCOMPARE(run.requested(), QStringList());
        // It has its new size before it is on the screen.
        run.open();
        const QSize size = controller.window().size();
        QCoreApplication::processEvents();
        QCOMPARE(controller.window().size(), size);
    }

    void signsInElsewhereFromHere()
    {
        PreferencesRun run;
        settingsOfRun().keepTimeHere({u"you@localhost"_s, u"own"_s, u".local"_s, u"http://local.localhost:1"_s});
        auto& controller = run.open();
        QSignalSpy changed(&settingsOfRun(), &settings::QuillonPreferences::preferencesChanged);
        VERIFY_EACH(run.part("herePage").isVisible(), !run.part("accountFields").isVisible());
        QVERIFY(run.part<QLabel>("hereText").toolTip().endsWith("/Quillon"_L1));
        QCOMPARE(run.part<QLabel>("hereCopies").text(), u"Copied daily."_s);
        run.click("openInBrowserButton");
        QCOMPARE(run.owner.asked, QStringList(u"browser"_s));

        // There and back, by Escape and by closing; nobody had to be asked for a password so far.
        run.click("signInButton");
        run.key(Qt::Key_Escape);
        VERIFY_EACH(run.part("herePage").isVisible(), controller.window().isVisible());
        run.click("signInButton");
        VERIFY_EACH(!controller.window().close(), !controller.window().isVisible());
        QCOMPARE(changed.count(), 1);

        // What is tried is the other account, while the own one stays in use until it is accepted. An answer that comes
        // after Cancel counts for nothing.
        run.open();
        run.click("signInButton");
        run.signIn(u"acme"_s, u"ann@example.com"_s, u"secret"_s);
        run.key(Qt::Key_Escape);
        QTRY_COMPARE(service::QuillonApi::sharedApi().operationCount(), 0);
        QCoreApplication::processEvents();
        QCOMPARE(settingsOfRun().credentials().email, u"you@localhost"_s);
        QVERIFY(!run.owner.asked.contains(u"elsewhere"_s));
        run.requested();
        run.click("signInButton");
        run.signIn(u"acme"_s, u"ann@example.com"_s, u"wrong"_s);
        QTRY_COMPARE(run.sheet(), Unverified);
        QCOMPARE(settingsOfRun().credentials().email, u"you@localhost"_s);
        QVERIFY(!run.owner.asked.contains(u"elsewhere"_s));
        run.key(Qt::Key_Return);
        QTRY_COMPARE(run.sheet(), QString());
        run.type("passwordField", u"secret"_s);
        run.key(Qt::Key_Return);
        QTRY_VERIFY(!controller.window().isVisible());
        QCOMPARE(run.owner.asked.last(), u"elsewhere"_s);
        QCOMPARE(changed.count(), 2);
        QCOMPARE(settingsOfRun().credentials().email, u"ann@example.com"_s);
        QVERIFY(run.settingsFile().contains("QuillonUrl=acme\n"));
        QCOMPARE(run.requested(), QStringList(2, u"GET /account/who_am_i"_s));
    }

    void backHereFromAnAccount()
    {
        OpenRun run(true);
        QVERIFY(run.part("keepHereBox").y() > run.part("accountFields").y());
        run.click("keepTimeHereButton");
        settingsOfRun().keepTimeHere({u"you@localhost"_s, u"own"_s, u".local"_s, u"http://local.localhost:1"_s});
        run.owner.kept(true);
        // The account is as it was, for who wants to go back.
        QVERIFY(!run.controller->window().isVisible());
        run.open();
        run.click("signInButton");
        QCOMPARE(run.text("quillonUrlField"), u"acme"_s);
        QCOMPARE(run.text("passwordField"), u"secret"_s);
    }
};

QUILLON_OFFSCREEN_TEST_MAIN(PreferencesTest)
#include "PreferencesTest.moc"
