#pragma once

#include <QStringList>

#include <functional>

namespace preferences {

/// What the preferences window asks of the program: its controller.
class PreferencesOwner
{
public:
    virtual ~PreferencesOwner() = default;
    virtual bool loggedOut() const = 0;
    /// As decided when the program started.
    virtual bool showingInDock() const = 0;
    virtual void showHelp() = 0;
    /// Ends the program and starts it again.
    virtual void relaunch() = 0;
    virtual void quit() = 0;
    /// What the program is to be started with at the next log-in. Any thread.
    virtual QStringList startArguments() const = 0;

    /// Whether the program can keep the time on this computer.
    virtual bool canKeepTimeHere() const = 0;
    /// Has it do so from now on. `done` comes later, with false when it cannot after all, and the person was told why.
    virtual void keepTimeHere(std::function<void(bool kept)> done) = 0;
    /// From now on in the saved account.
    virtual void keepTimeElsewhere() = 0;
    /// The folder in which the time is kept here.
    virtual QString folderOfTime() const = 0;
    virtual void openInBrowser() = 0;
};

} // namespace preferences
