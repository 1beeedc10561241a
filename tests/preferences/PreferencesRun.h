#pragma once

#include "localservice/Service.h"
#include "preferences/PreferenceController.h"
#include "preferences/PreferencesOwner.h"
#include "service/QuillonApi.h"
#include "settings/HotKeyManager.h"
#include "settings/Keys.h"
#include "settings/QuillonPreferences.h"
#include "settings/UserDefaults.h"
#include "support/ScriptedPeer.h"
#include "support/TestData.h"
#include "support/TestEnvironment.h"

#include <QAbstractButton>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTest>

/// Keeps what the window asked of the program.
struct RecordingPreferencesOwner final : preferences::PreferencesOwner, preferences::TimeHereOwner
{
    bool loggedOut() const override { return isLoggedOut; }
    bool showingInDock() const override { return true; }
    void showHelp(QObject*) override { asked << QStringLiteral("help"); }
    void relaunch(QObject*) override { asked << QStringLiteral("relaunch"); }
    void quitQuilonForMac(QObject*) override { asked << QStringLiteral("quit"); }
    QStringList startArguments() const override { return {}; }
    bool canKeepTimeHere() const override { return true; }
    void keepTimeHere(std::function<void(bool)> done) override
    {
        asked << QStringLiteral("here");
        kept = std::move(done);
    }
    void keepTimeElsewhere() override
    {
        asked << QStringLiteral("elsewhere");
        settings::QuillonPreferences::sharedPreferences().keepTimeElsewhere();
    }
    void openQuillonInBrowser(QObject*) override { asked << QStringLiteral("browser"); }

    QString copiesInWords() const override { return QStringLiteral("Copied daily."); }

    bool isLoggedOut = false;
    QStringList asked;
    std::function<void(bool)> kept; ///< to be told whether the time is kept here
};

/// The preferences window of a run, against a real service on loopback where ann@example.com has the password "secret"
/// in the account "acme".
class PreferencesRun
{
public:
    explicit PreferencesRun(bool signedIn = false)
        : service({.dataFile = test.folders.path(QStringLiteral("service.sqlite")).toStdString()})
    {
        settings::QuillonPreferences::setupDefaults();
        support::TestData data(*service.database().value());
        const localservice::Id account = data.addAccount({"acme"}).value();
        data.addPerson({account, "ann@example.com", "secret", "Ann", "Lee"}).value();
        test.info.set(QLatin1StringView("QuillonLocalDebug"), true);
        test.info.set(QLatin1StringView("QuillonDevelopmentDomain"), QStringLiteral(".localhost:%1").arg(peer.port()));
        settings::HotKeyManager::instance().setupHotKeys();
        if (signedIn)
            save();
    }
    ~PreferencesRun() { service::QuillonApi::sharedApi().stop(); }

    /// What an earlier run left behind.
    void save()
    {
        const QString email = QStringLiteral("ann@example.com");
        auto& defaults = settings::UserDefaults::standardUserDefaults();
        defaults.setString(settings::SCQuillonUrlKey, QStringLiteral("acme"));
        defaults.setString(settings::SCEmailKey, email);
        test.secrets.store(settings::SCServiceName(), email, "secret", {});
        settings::QuillonPreferences::sharedPreferences().loadSaved();
    }

    preferences::PreferenceController& open()
    {
        if (!controller)
            controller = std::make_unique<preferences::PreferenceController>(owner, owner);
        controller->show();
        return *controller;
    }

    template <class Widget = QWidget>
    Widget& part(const char* name)
    {
        auto* found = controller->window().findChild<Widget*>(QLatin1StringView(name));
        Q_ASSERT(found);
        return *found;
    }
    QString focused() { return controller->window().focusWidget()->objectName(); }
    QString text(const char* field) { return part<QLineEdit>(field).text(); }

    /// Types over what is there.
    void type(const char* name, const QString& text)
    {
        auto& field = part<QLineEdit>(name);
        field.setFocus();
        field.selectAll();
        key(Qt::Key_Delete);
        for (const QChar character : text)
            QTest::keyClick(controller->window().windowHandle(), character.toLatin1());
    }
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = {})
    {
        QTest::keyClick(controller->window().windowHandle(), key, modifiers);
    }
    void click(const char* name)
    {
        auto& window = controller->window();
        auto& button = part(name);
        // Near the left: a check box is no wider than its title.
        QTest::mouseClick(window.windowHandle(), Qt::LeftButton, {},
                          button.mapTo(&window, QPoint(12, button.height() / 2)));
    }
    void signIn(const QString& account, const QString& email, const QString& password)
    {
        type("quillonUrlField", account);
        type("emailField", email);
        type("passwordField", password);
        click("doneButton");
    }

    /// The message of the sheet, null while there is none.
    QString sheet()
    {
        const auto* label = controller->window().findChild<QLabel*>(QLatin1StringView("secondaryErrorMessage"));
        return label->isVisible() && part("acknowledgeButton").isEnabled() ? label->text() : QString();
    }

    /// What was asked of the service since the last call: "GET /account/who_am_i".
    QStringList requested()
    {
        QStringList list = peer.asked();
        peer.forgetRequests();
        return list;
    }

    QByteArray settingsFile()
    {
        QFile file(test.folders.path(QStringLiteral("XDG_CONFIG_HOME/Quillon/Quillon.conf")));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    support::TestRun test;
    localservice::Service service;
    support::ScriptedPeer peer{service.start().value()};
    RecordingPreferencesOwner owner;
    std::unique_ptr<preferences::PreferenceController> controller;
};
