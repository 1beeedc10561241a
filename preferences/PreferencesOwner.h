#pragma once

#include <QStringList>

#include <functional>

class QObject;

namespace preferences {

/// What the preferences window needs from the program's controller.
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
    /// The arguments for starting the program at the next login. Any thread.
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
    /// Switches to that. `done` is called later, with false on failure, which the person has seen by then.
    virtual void keepTimeHere(std::function<void(bool kept)> done) = 0;
    /// Switches to the saved account. Nothing is announced yet.
    virtual void keepTimeElsewhere() = 0;
    /// For people: where the daily copies of the time kept here are, when the latest was made, and its size; or why
    /// there is none. Empty while the time is not kept here.
    virtual QString copiesInWords() const = 0;

protected:
    ~TimeHereOwner() = default;
};

} // namespace preferences
