#pragma once

#include <QStringList>

#include <functional>

class QObject;

namespace preferences {

/// What the preferences window asks of the program's controller.
class PreferencesOwner
{
public:
    virtual bool loggedOut() const = 0;
    /// As decided when the program started.
    virtual bool showingInDock() const = 0;
    virtual void showHelp(QObject* sender) = 0;
    virtual void openQuillonInBrowser(QObject* sender) = 0;
    /// Ends the program and starts it again.
    virtual void relaunch(QObject* sender) = 0;
    virtual void quitQuilonForMac(QObject* sender) = 0;
    /// What the program is to be started with at the next log-in. Any thread.
    virtual QStringList startArguments() const = 0;

protected:
    ~PreferencesOwner() = default;
};

/// Where the person's time is kept: on this computer, by the built-in service, or in an account elsewhere.
class TimeHereOwner
{
public:
    /// Whether the program can keep the time on this computer.
    virtual bool canKeepTimeHere() const = 0;
    /// Has it do so from now on. `done` comes later, with false when that fails, and the person knows why by then.
    virtual void keepTimeHere(std::function<void(bool kept)> done) = 0;
    /// From now on in the saved account. Nothing is announced yet.
    virtual void keepTimeElsewhere() = 0;

protected:
    ~TimeHereOwner() = default;
};

} // namespace preferences
