#pragma once

#include "platform/TimeSource.h"
#include "service/OutcomeReceiver.h"
#include "settings/KeyCombo.h"

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
class HotKeyManager;
class QuillonPreferences;
} // namespace settings

namespace skin {
class LinkButton;
class Sheet;
class Spinner;
} // namespace skin

namespace preferences {

class PreferencesOwner;
class SRRecorderControl;
class TimeHereOwner;

/// The preferences window: the account, the options and the two shortcuts.
///
/// It leaves through Done alone, and closing is the same: what the fields hold is saved, the service is asked whether
/// it accepts the account, and only when it does is the change announced and the window closed. One per run, made
/// inside it. Main thread only.
class PreferenceController final : public QObject, public service::OutcomeReceiver
{
    Q_OBJECT
public:
    /// Both must outlive the controller.
    PreferenceController(PreferencesOwner& owner, TimeHereOwner& timeHere);
    ~PreferenceController() override;

    /// Shows the window, filled from the preferences unless it is open, and brings it to the front of everything.
    void show();
    QWidget& window() { return m_window; }

    void doneClicked();
    /// Never true: the window closes when the account was verified.
    bool windowShouldClose();

    /// False when a field of the account is empty; a sheet then says which.
    bool validateCredentials();
    void acknowledgeValidationError();
    /// Whether the account that the fields hold, blanks around it aside, is another one than the preferences'.
    bool credentialsChanged() const;
    /// Writes what the fields hold, as it was typed, and has it take effect.
    settings::QuillonPreferences& saveCredentials();

    void authenticationSucceeded() override;
    void authenticationFailed() override;
    bool waitingForAuthenticationCheck() const { return m_waitingForAuthenticationCheck; }

    /// A field is left after something was typed: the rate is shown as an amount of money. Null: no field.
    void controlTextDidEndEditing(QLineEdit* field);
    /// The amount in the field, with or without a currency symbol. Empty: that is no amount.
    std::optional<double> parseRate(const QLineEdit& field) const;
    /// Whether the rate can be typed. It is not kept from run to run.
    bool usingDefaultRate() const { return m_usingDefaultRate; }
    void setUsingDefaultRate(bool use);

    /// What the page of the account shows: its fields, or where the time is kept on this computer.
    enum class AccountPage
    {
        Fields,
        Here
    };
    AccountPage accountPage() const { return m_accountPage; }
    /// From where the time is kept here to the fields of an account elsewhere. Cancel and Escape lead back.
    void signInElsewhere();
    void cancelSigningIn();
    /// Has the time kept on this computer, and closes the window when it is.
    void keepTimeHere();

    void goToHelpCenter();
    /// Has the desktop start this program when the person logs in, or no longer. Any thread, one at a time.
    void addAppAsLoginItem();
    void deleteAppFromLoginItem();
    platform::UpdateFeed& updater() const;
    /// Whether a combination may not be had. None is reported as taken: the desktop decides when it is registered.
    bool shortcutRecorder(const SRRecorderControl& recorder, qint64 isKeyCode, quint64 andFlagsTaken,
                          QString& reason) const;

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void awakeFromNib();
    void windowDidLoad();
    void wire();
    void wire(SRRecorderControl& recorder, QLabel& status);
    void fill();
    void fillAccount();
    void showAccountPage(AccountPage page);
    void announce();
    void relaunchIfNeeded();
    void showSheet(const QString& message);
    /// Shows what is under way; a null text: nothing is.
    void showBusy(const QString& what);
    void showChecking(bool checking);
    void showUnanswered();
    void showKeyring();
    void showShortcutStatus();
    QString shortcutStatus(const settings::KeyCombo& shown, int action) const;
    void setHintColors();

    PreferencesOwner& m_owner;
    TimeHereOwner& m_timeHere;
    service::QuillonApi& m_api;
    settings::QuillonPreferences& m_preferences;
    settings::HotKeyManager& m_hotKeys;
    platform::LoginItems& m_loginItems;
    const QLocale m_formatter;

    QDialog m_window;
    std::unique_ptr<Ui::Preferences> m_ui;
    skin::LinkButton* m_learnMoreLink;
    skin::Spinner* m_authenticatingIndicator;
    skin::Sheet* m_invalidCredentialsSheet;
    QLabel* m_secondaryErrorMessage;

    bool m_usingDefaultRate = true;
    AccountPage m_accountPage = AccountPage::Fields;
    bool m_waitingForAuthenticationCheck = false;
    bool m_quitting = false;
    std::unique_ptr<platform::TimeSource::Timer> m_patience; ///< while a check is under way
    QThreadPool m_loginItemsThread;                          ///< one thread; last: it uses this object
};

} // namespace preferences
