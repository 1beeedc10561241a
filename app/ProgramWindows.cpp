#include "app/ProgramWindows.h"

#include "app/Relaunch.h"
#include "app/WrenfoldMenulet.h"
#include "editing/NewTimerController.h"
#include "preferences/PreferenceController.h"
#include "preferences/PreferencesOwner.h"
#include "skin/AboutController.h"
#include "timesheet/TimesheetController.h"

namespace app {
namespace {

class AboutWindow final : public Window
{
public:
    void show() override { m_controller.show(); }

private:
    skin::AboutController m_controller;
};

/// The preferences window, as the controller speaks to it, and the controller, as that window speaks to it.
class PreferencesWindow final : public Window, public preferences::PreferencesOwner
{
public:
    explicit PreferencesWindow(WrenfoldMenulet& owner) : m_owner(owner), m_controller(*this) {}

    void show() override { m_controller.show(); }

    bool loggedOut() const override { return m_owner.loggedOut(); }
    bool showingInDock() const override { return m_owner.showingInDock(); }
    void showHelp() override { m_owner.showHelp(&m_controller); }
    void relaunch() override { app::relaunch(&m_controller); }
    void quit() override { m_owner.quitQuilonForMac(&m_controller); }
    QStringList startArguments() const override { return app::startArguments(); }

    bool canKeepTimeHere() const override { return m_owner.canKeepTimeHere(); }
    void keepTimeHere(std::function<void(bool)> done) override { m_owner.keepTimeHere(std::move(done)); }
    void keepTimeElsewhere() override { m_owner.keepTimeElsewhere(); }
    QString folderOfTime() const override { return WrenfoldMenulet::applicationSupportFolder(); }
    void openInBrowser() override { m_owner.openQuillonInBrowser(&m_controller); }

private:
    WrenfoldMenulet& m_owner;
    preferences::PreferenceController m_controller;
};

/// The timesheet, as the controller speaks to it, and the controller, as the timesheet speaks to it.
class Timesheet final : public TimesheetWindow, public timesheet::TimesheetOwner
{
public:
    explicit Timesheet(WrenfoldMenulet& owner) : m_owner(owner), m_controller(*this)
    {
        m_controller.windowHack();
        using timesheet::TimesheetController;
        QObject::connect(&owner, &WrenfoldMenulet::quillonForMacNetworkNotReachable, &m_controller,
                         &TimesheetController::wentOffline);
        QObject::connect(&owner, &WrenfoldMenulet::quillonForMacNetworkReachable, &m_controller,
                         &TimesheetController::wentOnline);
        m_controller.setLoggedOut(owner.loggedOut());
        QObject::connect(&owner, &WrenfoldMenulet::statusChanged, &m_controller,
                         [this] { m_controller.setLoggedOut(m_owner.loggedOut()); });
    }

    void show() override { m_controller.show(); }
    void toggle() override { m_controller.toggle(); }
    void setCompany(model::Company* company) override { m_controller.setCompany(company); }
    void setOffline(bool offline) override { m_controller.setOffline(offline); }
    QDate currentDate() const override { return m_controller.currentDate(); }
    void reloadEntries() override { m_controller.reloadEntries(); }
    void catalogDidChange() override { m_controller.catalogDidChange(); }
    void updateKeyEquivalents() override { m_controller.updateKeyEquivalents(); }
    void setHint(const std::optional<skin::Hint>& hint) override { m_controller.setHint(hint); }

    void showNewTimerWindow(QObject* sender) override { m_owner.showNewTimerWindow(sender); }
    void openQuillonInBrowser(QObject* sender) override { m_owner.openQuillonInBrowser(sender); }
    void showPreferencePanel(QObject* sender) override { m_owner.showPreferencePanel(sender); }

private:
    WrenfoldMenulet& m_owner;
    timesheet::TimesheetController m_controller;
};

class NewTimer final : public NewTimerWindow
{
public:
    void show() override { m_controller.show(); }
    void setEntry(model::DayEntry* entry) override { m_controller.setEntry(entry); }
    void setEnabled(bool enabled) override { m_controller.setEnabled(enabled); }
    void clearSelections() override { m_controller.clearSelections(); }
    void catalogDidChange() override { m_controller.catalogDidChange(); }

private:
    editing::NewTimerController m_controller;
};

} // namespace

WindowMakers programWindows()
{
    WindowMakers windows;
    windows.about = [](WrenfoldMenulet&) { return std::make_unique<AboutWindow>(); };
    windows.preferences = [](WrenfoldMenulet& owner) { return std::make_unique<PreferencesWindow>(owner); };
    windows.timesheet = [](WrenfoldMenulet& owner) { return std::make_unique<Timesheet>(owner); };
    windows.newTimer = [](WrenfoldMenulet&) { return std::make_unique<NewTimer>(); };
    return windows;
}

} // namespace app
