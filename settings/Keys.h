#pragma once

#include <QLatin1StringView>
#include <QString>

namespace settings {

// The keys of the settings file.
inline constexpr QLatin1StringView SCQuillonUrlKey("QuillonUrl"); ///< the account's name; absent: signed out
inline constexpr QLatin1StringView SCEmailKey("Email");
inline constexpr QLatin1StringView SCCompanyKey("Company");
/// The user keeps their time on this computer, in the built-in service, whatever account is saved above.
inline constexpr QLatin1StringView QuillonKeepTimeHereKey("KeepTimeHere");
/// The user has seen where the hours are, and dismissed the hint.
inline constexpr QLatin1StringView QuillonFirstStepsDoneKey("FirstStepsDone");
inline constexpr QLatin1StringView QuillonBlinkCursorKey("BlinkColon");
inline constexpr QLatin1StringView QuillonStartAtLoginKey("StartAtLogin");
inline constexpr QLatin1StringView QuillonHideFromDockKey("HideInDock");
/// Keeps the status item out of the desktop's bar. Read at the start; the program never sets it.
inline constexpr QLatin1StringView QuillonFloatingStatusItemKey("FloatingStatusItem");
inline constexpr QLatin1StringView QuillonIdleTimerEnabled("IdleTimerEnabled");
inline constexpr QLatin1StringView QuillonIdleMinutesThreshold("IdleMinutesThreshold");
inline constexpr QLatin1StringView QuillonTimesheetHotKey("TimesheetHotKey");
inline constexpr QLatin1StringView QuillonTimesheetHotKeyModifiers("TimesheetHotKeyModifiers");
inline constexpr QLatin1StringView QuillonNewTimerHotKey("NewTimerHotKey");
inline constexpr QLatin1StringView QuillonNewTimerHotKeyModifiers("NewTimerHotKeyModifiers");
// Reserved for a third combination: these two have defaults, and nothing reads them yet.
inline constexpr QLatin1StringView QuillonToggleTimerHotKey("ToggleTimerHotKey");
inline constexpr QLatin1StringView QuillonToggleTimerHotKeyModifiers("ToggleTimerHotKeyModifiers");

/// Whether to check for newer versions automatically.
inline constexpr QLatin1StringView SUEnableAutomaticChecksKey("SUEnableAutomaticChecks");
/// The version that the user has chosen to skip.
inline constexpr QLatin1StringView SUSkippedVersionKey("SUSkippedVersion");

/// Announces any change of the settings, although its value speaks of credentials. QuillonPreferences sends it.
inline constexpr QLatin1StringView QuillonPreferencesChangedNotification("CredentialsChanged");

/// The service name of our items in the keyring: the program's reverse-DNS identifier. Main thread only.
QString SCServiceName();

} // namespace settings
