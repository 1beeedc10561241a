#include "QuillonPreferences.h"

#include "Keys.h"
#include "TolvanKeychainUtils.h"
#include "UserDefaults.h"

#include "platform/InfoDictionary.h"
#include "platform/Run.h"
#include "platform/SecretStore.h"

#include <QPointer>

#include <limits>

namespace settings {

using namespace Qt::StringLiterals;

QuillonPreferences::QuillonPreferences()
{
    loadSaved();
}

QuillonPreferences& QuillonPreferences::sharedPreferences()
{
    return platform::Run::current().shared<QuillonPreferences>();
}

void QuillonPreferences::setupDefaults()
{
    constexpr qint64 highestCode = 127;
    constexpr qint64 allFlags = std::numeric_limits<quint32>::max();
    constexpr qint64 commandAndOption = KeyCombo::Command | KeyCombo::Option;
    // The idle time is an int, in seconds.
    constexpr qint64 mostMinutes = std::numeric_limits<int>::max() / 60;
    constexpr qint64 keyM = 46;
    constexpr qint64 keyN = 45;
    constexpr qint64 keyB = 11;

    UserDefaults::standardUserDefaults().registerDefaults({
        {QuillonBlinkCursorKey, true},
        {QuillonStartAtLoginKey, false},
        {QuillonHideFromDockKey, false},
        {QuillonFloatingStatusItemKey, false},
        {QuillonKeepTimeHereKey, false},
        {QuillonFirstStepsDoneKey, false},
        {QuillonTimesheetHotKey, keyM, KeyCombo::NoKey, highestCode},
        {QuillonTimesheetHotKeyModifiers, commandAndOption, 0, allFlags},
        {QuillonNewTimerHotKey, keyN, KeyCombo::NoKey, highestCode},
        {QuillonNewTimerHotKeyModifiers, commandAndOption, 0, allFlags},
        {QuillonToggleTimerHotKey, keyB, KeyCombo::NoKey, highestCode},
        {QuillonToggleTimerHotKeyModifiers, commandAndOption, 0, allFlags},
        {QuillonIdleMinutesThreshold, 10, 1, mostMinutes},
        {QuillonIdleTimerEnabled, true},
    });
}

void QuillonPreferences::loadSaved()
{
    const UserDefaults& defaults = UserDefaults::standardUserDefaults();
    const platform::InfoDictionary& info = platform::Run::current().environment().info();
    {
        const std::lock_guard lock(m_mutex);
        m_email = defaults.stringForKey(SCEmailKey);
        m_url = defaults.stringForKey(SCQuillonUrlKey);
        m_serviceDomain = info.string("QuillonServiceDomain"_L1);
        m_developmentDomain = info.boolean("QuillonLocalDebug"_L1)
                                  ? std::optional(info.string("QuillonDevelopmentDomain"_L1))
                                  : std::nullopt;
        m_password = {};
        m_passwordLoaded = false;
    }
    m_savedEmail = m_email;
    m_companyName = defaults.stringForKey(SCCompanyKey);

    m_blinkColon = defaults.boolForKey(QuillonBlinkCursorKey);
    m_startAtLogin = defaults.boolForKey(QuillonStartAtLoginKey);
    m_hideFromDock = defaults.boolForKey(QuillonHideFromDockKey);
    m_idleTimerEnabled = defaults.boolForKey(QuillonIdleTimerEnabled);
    m_idleMinutesThreshold = defaults.integerForKey(QuillonIdleMinutesThreshold);

    const auto combo = [&defaults](QLatin1StringView code, QLatin1StringView flags) {
        return KeyCombo{static_cast<quint64>(defaults.integerForKey(flags)), defaults.integerForKey(code)};
    };
    m_timesheetWindowHotKeyCombo = combo(QuillonTimesheetHotKey, QuillonTimesheetHotKeyModifiers);
    m_newTimerWindowHotKeyCombo = combo(QuillonNewTimerHotKey, QuillonNewTimerHotKeyModifiers);
}

void QuillonPreferences::save()
{
    // While the time is kept here, the saved account may be untouched: then leave the keyring alone.
    const bool keepsSecret = m_passwordLoaded || !timeIsKeptHere();
    // Before anything is changed: otherwise the keyring would lose a password not yet looked up.
    if (keepsSecret)
        password();
    const platform::Secret<QString> secret = keepsSecret ? m_password : platform::Secret<QString>();

    UserDefaults& defaults = UserDefaults::standardUserDefaults();
    defaults.setString(SCQuillonUrlKey, url());
    defaults.setString(SCEmailKey, m_email);
    defaults.setString(SCCompanyKey, m_companyName);
    defaults.setBool(QuillonBlinkCursorKey, m_blinkColon);
    defaults.setBool(QuillonStartAtLoginKey, m_startAtLogin);
    defaults.setBool(QuillonHideFromDockKey, m_hideFromDock);
    defaults.setBool(QuillonIdleTimerEnabled, m_idleTimerEnabled);
    defaults.setInteger(QuillonIdleMinutesThreshold, m_idleMinutesThreshold);
    defaults.setInteger(QuillonTimesheetHotKey, m_timesheetWindowHotKeyCombo.code);
    defaults.setInteger(QuillonTimesheetHotKeyModifiers, static_cast<qint64>(m_timesheetWindowHotKeyCombo.flags));
    defaults.setInteger(QuillonNewTimerHotKey, m_newTimerWindowHotKeyCombo.code);
    defaults.setInteger(QuillonNewTimerHotKeyModifiers, static_cast<qint64>(m_newTimerWindowHotKeyCombo.flags));
    defaults.synchronize();

    if (!keepsSecret)
        return;
    const auto later = [self = QPointer(this), email = m_email, secret](const auto& stored) {
        // Another password is another matter.
        if (!self || self->m_email != email || self->m_password != secret)
            return;
        self->m_noKeyring = !stored;
        emit self->keyringAnswered();
    };
    const auto stored =
        TolvanKeychainUtils::storeUsername(m_email, *secret, SCServiceName(), /*updateExisting=*/true, later);
    if (stored || stored.error().code == KeychainError::ServiceAbsent)
        m_noKeyring = !stored;
}

void QuillonPreferences::setEmail(const QString& email)
{
    const std::lock_guard lock(m_mutex);
    m_email = email;
}

void QuillonPreferences::expectPassword()
{
    if (!isPasswordLoaded() && !m_savedEmail.isNull())
        platform::Run::current().environment().secretStore().expectLookup(SCServiceName(), m_savedEmail);
}

QString QuillonPreferences::password()
{
    if (!m_passwordLoaded)
        loadPassword();
    return *m_password;
}

void QuillonPreferences::setPassword(const QString& password)
{
    const std::lock_guard lock(m_mutex);
    m_password = password;
    m_passwordLoaded = true;
}

bool QuillonPreferences::passwordKeptForThisRunOnly()
{
    password();
    return m_noKeyring;
}

void QuillonPreferences::loadPassword()
{
    // Missing and unreadable are the same: no password. The service will reject the request.
    const auto found = TolvanKeychainUtils::getPasswordForUsername(m_savedEmail, SCServiceName());
    setPassword(found ? found->value_or(QString()) : QString());
    if (found)
        return;
    const int code = found.error().code;
    m_noKeyring = code == KeychainError::ServiceAbsent;
    if ((code == KeychainError::Locked || code == KeychainError::NoAnswer) && !m_askedToUnlock)
        askToUnlock();
}

void QuillonPreferences::askToUnlock()
{
    m_askedToUnlock = true;
    const QPointer<QuillonPreferences> self(this);
    const auto done = [self,
                       account = m_savedEmail](const platform::SecretStore::Result<std::optional<QByteArray>>& found) {
        // A password typed meanwhile is the newer one.
        if (!self || !found || !*found || !self->m_password->isNull() || self->m_savedEmail != account)
            return;
        const QString text = TolvanKeychainUtils::passwordText(**found);
        if (text.isNull())
            return;
        self->setPassword(text);
        emit self->passwordArrived();
    };
    platform::Run::current().environment().secretStore().unlockAndLookup(SCServiceName(), m_savedEmail, done);
}

QString QuillonPreferences::normalized(QString url) const
{
    const auto removeAll = [&url](const QString& part) { url.remove(part); };
    for (const QString& scheme : {u"http://"_s, u"https://"_s}) {
        if (url.startsWith(scheme))
            removeAll(scheme);
    }
    if (url.endsWith(m_serviceDomain))
        removeAll(m_serviceDomain);
    return url;
}

QString QuillonPreferences::url()
{
    const std::lock_guard lock(m_mutex);
    m_url = normalized(m_url);
    return m_url;
}

void QuillonPreferences::setUrl(const QString& url)
{
    const std::lock_guard lock(m_mutex);
    m_url = url;
}

QString QuillonPreferences::fullUrl()
{
    url();
    return credentials().fullUrl;
}

void QuillonPreferences::keepTimeHere(const Credentials& builtIn)
{
    const std::lock_guard lock(m_mutex);
    m_builtIn = builtIn;
}

void QuillonPreferences::keepTimeElsewhere()
{
    const std::lock_guard lock(m_mutex);
    m_builtIn.reset();
}

bool QuillonPreferences::timeIsKeptHere() const
{
    const std::lock_guard lock(m_mutex);
    return m_builtIn.has_value();
}

QString QuillonPreferences::emailInUse() const
{
    {
        const std::lock_guard lock(m_mutex);
        if (m_builtIn)
            return m_builtIn->email;
    }
    return UserDefaults::standardUserDefaults().stringForKey(SCEmailKey);
}

Credentials QuillonPreferences::credentials() const
{
    {
        const std::lock_guard lock(m_mutex);
        if (m_builtIn)
            return *m_builtIn;
    }
    return savedCredentials();
}

Credentials QuillonPreferences::savedCredentials() const
{
    const std::lock_guard lock(m_mutex);
    const QString url = normalized(m_url);
    const QString fullUrl =
        m_developmentDomain ? "http://"_L1 + url + *m_developmentDomain : "https://"_L1 + url + m_serviceDomain;
    return {m_email, m_password, url, fullUrl};
}

} // namespace settings
