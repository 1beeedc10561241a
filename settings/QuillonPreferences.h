#pragma once

#include "platform/Secret.h"
#include "settings/KeyCombo.h"

#include <QObject>
#include <QString>

#include <mutex>
#include <optional>

namespace settings {

/// Where requests go and who sends them, at one moment.
struct Credentials
{
    QString email;
    platform::Secret<QString> password;
    QString url;     ///< the account's name
    QString fullUrl; ///< the account's base address, without a slash at the end

    bool isSameAccount(const Credentials& other) const { return url == other.url && email == other.email; }
};

/// The user's account and options in memory, loaded from the settings file and the keyring.
///
/// Setters change memory only; `save` writes everything. An absent string is null. Main thread only, unless a
/// method says otherwise.
///
/// The account in use is the saved one, or the one of the built-in service while the time is kept here. Then the saved
/// one stays as it was, and can be changed and tried out, while nothing of the other is ever saved.
class QuillonPreferences final : public QObject
{
    Q_OBJECT

public:
    /// Loads what was saved. The service's domains are read here, from the information dictionary.
    QuillonPreferences();

    /// The one of the current run.
    static QuillonPreferences& sharedPreferences();

    /// Registers the defaults; before the first use of anything else.
    static void setupDefaults();

    void loadSaved();

    /// Writes the file, then the password to the keyring. A failing keyring is not reported.
    void save();

    QString email() const { return m_email; }
    void setEmail(const QString& email);

    /// The password will be needed soon: where it has to be looked up, that begins now. Returns immediately.
    void expectPassword();
    /// Looked up in the keyring on first use, without a prompt: that takes 30 ms, or 2 s where the keyring hangs. If
    /// the keyring is locked the user is asked once, and `passwordArrived` announces the password.
    QString password();
    void setPassword(const QString& password);
    /// Whether the password of the account in use is known without a look-up.
    bool isPasswordLoaded() const { return m_passwordLoaded || timeIsKeptHere(); }

    /// True when no keyring keeps the password, because there is none or the user would not unlock it: it is forgotten
    /// when the program ends. Looks it up if need be.
    bool passwordKeptForThisRunOnly();

    /// The account's name: what was typed, without scheme and service domain. Rewrites what is stored.
    QString url();
    void setUrl(const QString& url);
    /// The base address of the account in use.
    QString fullUrl();

    /// Switches to the account `builtIn`, at the built-in service. Without an address nobody is signed in: the service
    /// is not running yet, or failed to start.
    void keepTimeHere(const Credentials& builtIn);
    /// Switches back to the saved account, the default.
    void keepTimeElsewhere();
    bool timeIsKeptHere() const;

    QString companyName() const { return m_companyName; }
    void setCompanyName(const QString& name) { m_companyName = name; }

    bool blinkColon() const { return m_blinkColon; }
    void setBlinkColon(bool blink) { m_blinkColon = blink; }
    bool startAtLogin() const { return m_startAtLogin; }
    void setStartAtLogin(bool start) { m_startAtLogin = start; }
    bool hideFromDock() const { return m_hideFromDock; }
    void setHideFromDock(bool hide) { m_hideFromDock = hide; }
    bool idleTimerEnabled() const { return m_idleTimerEnabled; }
    void setIdleTimerEnabled(bool enabled) { m_idleTimerEnabled = enabled; }
    qint64 idleMinutesThreshold() const { return m_idleMinutesThreshold; }
    void setIdleMinutesThreshold(qint64 minutes) { m_idleMinutesThreshold = minutes; }
    KeyCombo timesheetWindowHotKeyCombo() const { return m_timesheetWindowHotKeyCombo; }
    void setTimesheetWindowHotKeyCombo(const KeyCombo& combo) { m_timesheetWindowHotKeyCombo = combo; }
    KeyCombo newTimerWindowHotKeyCombo() const { return m_newTimerWindowHotKeyCombo; }
    void setNewTimerWindowHotKeyCombo(const KeyCombo& combo) { m_newTimerWindowHotKeyCombo = combo; }

    /// The account in use, as it is now; without a password until that has been looked up. Any thread.
    Credentials credentials() const;
    /// The same for the saved account, or what is about to be saved as such. Any thread.
    Credentials savedCredentials() const;
    /// The e-mail address of the account in use; of the saved one as it stands in the settings. Any thread.
    QString emailInUse() const;

signals:
    /// QuillonPreferencesChangedNotification. Sent by the code that saved, not by `save`.
    void preferencesChanged();
    /// The keyring was unlocked after a look-up that had found it locked.
    void passwordArrived();
    /// The user was prompted to unlock the keyring for saving a password, and has answered.
    void keyringAnswered();

private:
    void loadPassword();
    void askToUnlock();
    QString normalized(QString url) const;

    mutable std::mutex m_mutex; ///< guards what any thread may read: the next four and the domains
    std::optional<Credentials> m_builtIn;
    QString m_email;
    platform::Secret<QString> m_password;
    QString m_url;
    QString m_serviceDomain;
    std::optional<QString> m_developmentDomain; ///< none: the service itself is used

    QString m_savedEmail; ///< the account of the password to look up
    bool m_passwordLoaded = false;
    bool m_noKeyring = false;
    bool m_askedToUnlock = false;

    QString m_companyName;
    bool m_blinkColon = false;
    bool m_startAtLogin = false;
    bool m_hideFromDock = false;
    bool m_idleTimerEnabled = false;
    qint64 m_idleMinutesThreshold = 0;
    KeyCombo m_timesheetWindowHotKeyCombo;
    KeyCombo m_newTimerWindowHotKeyCombo;
};

} // namespace settings
