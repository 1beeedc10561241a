#pragma once

#include "platform/TimeSource.h"
#include "service/OutcomeReceiver.h"

#include <QDialog>
#include <QLocale>
#include <QObject>
#include <QThreadPool>

#include <memory>
#include <optional>

class QLabel;
class QLineEdit;

namespace Ui {
class Preferences;
}

namespace platform {
class LoginItems;
class UpdateFeed;
} // namespace platform

namespace service {
class QuillonApi;
}

namespace settings {
class QuillonPreferences;
}

namespace skin {
class Sheet;
class Spinner;
} // namespace skin

namespace preferences {

class PreferencesOwner;
class SRRecorderControl;
class ShortcutsPage;
class TimeHereOwner;

/// The preferences window: the account, the options and the two shortcuts.
///
/// Only Done closes it, and closing it does the same as Done: saves the contents of the fields, checks the account with
/// the service, and only when that succeeds announces the change and closes the window. One per run, made inside it.
/// Main thread only.
class PreferenceController final : public QObject, public service::OutcomeReceiver
{
    Q_OBJECT
public:
    /// Both must outlive the controller.
    PreferenceController(PreferencesOwner& owner, TimeHereOwner& timeHere);
    ~PreferenceController() override;

    /// Shows the window, filled from the preferences unless it is open, and brings it to the front.
    void show();
    QWidget& window() { return m_window; }

    void doneClicked();
    /// Never true: the window closes once the account is verified.
    bool windowShouldClose();

    /// False when a field of the account is empty; a sheet then says which.
    bool validateCredentials();
    void acknowledgeValidationError();
    /// Whether the account in the fields, ignoring surrounding spaces, differs from the one in the preferences.
    bool credentialsChanged() const;
    /// Saves the contents of the fields, as typed, and applies them.
    settings::QuillonPreferences& saveCredentials();

    void authenticationSucceeded() override;
    void authenticationFailed() override;
    bool waitingForAuthenticationCheck() const { return m_waitingForAuthenticationCheck; }

    /// An edited field loses the focus: the rate is shown as an amount of money. Null: no field.
    void controlTextDidEndEditing(QLineEdit* field);
    /// The amount in the field, with or without a currency symbol. Empty: not an amount.
    std::optional<double> parseRate(const QLineEdit& field) const;
    /// Whether the rate can be edited. Not remembered between runs.
    bool usingDefaultRate() const { return m_usingDefaultRate; }
    void setUsingDefaultRate(bool use);

    void goToHelpCenter();
    /// Adds this program to the desktop's login items, or removes it. Any thread, one at a time.
    void addAppAsLoginItem();
    void deleteAppFromLoginItem();
    platform::UpdateFeed& updater() const;
    /// Whether a combination is taken. Never: the desktop decides when it is registered.
    bool shortcutRecorder(const SRRecorderControl& recorder, qint64 isKeyCode, quint64 andFlagsTaken,
                          QString& reason) const;

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void awakeFromNib();
    void windowDidLoad();
    void wire();
    void fill();
    void fillAccount();
    /// Whether the built-in service is in use and running.
    bool isSignedInHere() const;
    /// `here`: shows where the time is kept on this computer; else the fields of an account.
    void showAccountPage(bool here);
    /// Back from another account's fields to where the time is kept here.
    void cancelSigningIn();
    /// Switches to time kept on this computer, and closes the window once that is done.
    void keepTimeHere();
    void announce();
    void relaunchIfNeeded();
    void showSheet(const QString& message);
    /// Shows what is in progress; a null string: nothing.
    void showBusy(const QString& what);
    void showChecking(bool checking);
    void showUnanswered(const QString& reason, bool hasEnded);
    void checkFailed(const QString& reason);
    void showKeyring();
    void setHintColors();

    PreferencesOwner& m_owner;
    TimeHereOwner& m_timeHere;
    service::QuillonApi& m_api;
    settings::QuillonPreferences& m_preferences;
    platform::LoginItems& m_loginItems;
    const QLocale m_formatter;

    QDialog m_window;
    std::unique_ptr<Ui::Preferences> m_ui;
    std::unique_ptr<ShortcutsPage> m_shortcutsPage;
    skin::Spinner* m_authenticatingIndicator;
    skin::Sheet* m_invalidCredentialsSheet;
    QLabel* m_secondaryErrorMessage;

    bool m_usingDefaultRate = true;
    bool m_showsHere = false; ///< on the page of the account
    bool m_waitingForAuthenticationCheck = false;
    bool m_quitting = false;
    std::unique_ptr<platform::TimeSource::Timer> m_patience; ///< while a check is under way
    QThreadPool m_loginItemsThread;                          ///< one thread; last: it uses this object
};

} // namespace preferences
