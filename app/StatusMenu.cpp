#include "app/StatusMenu.h"

namespace app {

using namespace Qt::StringLiterals;

StatusMenu::StatusMenu()
{
    setObjectName(u"menu"_s);
    setAccessibleName(tr("Quillon"));

    const auto item = [this](const char* name, const QString& title) {
        auto* action = new QAction(title, this);
        action->setObjectName(QString::fromLatin1(name));
        return action;
    };
    toggleCurrentTimerMenuItem = item("toggleCurrentTimerMenuItem", tr("Start Current Timer"));
    currentProjectMenuItem = item("currentProjectMenuItem", QString());
    currentTaskMenuItem = item("currentTaskMenuItem", QString());
    newTimerMenuItem = item("newTimerMenuItem", tr("New Timer…"));
    timesheetMenuItem = item("timesheetMenuItem", tr("Timesheet"));
    offlineIndicator = item("offlineIndicator", tr("Offline: The Service Cannot Be Reached"));
    offlineIndicator->setEnabled(false);
    openInBrowserMenuItem = item("openInBrowserMenuItem", tr("Open Quillon in Browser"));
    manageProjectsMenuItem = item("manageProjectsMenuItem", tr("Manage Projects"));
    manageTasksMenuItem = item("manageTasksMenuItem", tr("Manage Tasks"));
    preferencesMenuItem = item("preferencesMenuItem", tr("Preferences…"));
    checkForUpdatesMenuItem = item("checkForUpdatesMenuItem", tr("Check for Updates…"));
    helpMenuItem = item("helpMenuItem", tr("Quillon Help"));
    firstStepsMenuItem = item("firstStepsMenuItem", tr("First Steps"));
    aboutMenuItem = item("aboutMenuItem", tr("About Quillon"));
    quitMenuItem = item("quitMenuItem", tr("Quit Quillon"));

    addActions({toggleCurrentTimerMenuItem, newTimerMenuItem, timesheetMenuItem});
    addSeparator();
    addAction(offlineIndicator);
    offlineSeparatorItem = addSeparator();
    offlineSeparatorItem->setObjectName(u"offlineSeparatorItem"_s);
    addActions({openInBrowserMenuItem, manageProjectsMenuItem, manageTasksMenuItem});
    addSeparator();
    addActions({preferencesMenuItem, checkForUpdatesMenuItem, helpMenuItem, firstStepsMenuItem, aboutMenuItem});
    addSeparator();
    addAction(quitMenuItem);
    offlineIndicator->setVisible(false);
    offlineSeparatorItem->setVisible(false);
}

int StatusMenu::indexOfItem(const QAction* item) const
{
    return static_cast<int>(actions().indexOf(item));
}

void StatusMenu::insertItemAtIndex(QAction* item, int index)
{
    const QList<QAction*> items = actions();
    insertAction(index < items.size() ? items.at(index) : nullptr, item);
}

} // namespace app
