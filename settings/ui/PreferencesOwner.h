#pragma once

namespace settings_ui {

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
};

} // namespace settings_ui
