#include "app/StatusMenu.h"

#include <algorithm>
#include <array>

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
    m_timerSeparator = addSeparator();
    elsewhereIndicator = item("elsewhereIndicator", QString());
    elsewhereIndicator->setEnabled(false);
    showElsewhereMenuItem = item("showElsewhereMenuItem", tr("Show"));
    stopElsewhereMenuItem = item("stopElsewhereMenuItem", tr("Stop"));
    addActions({elsewhereIndicator, showElsewhereMenuItem, stopElsewhereMenuItem});
    m_elsewhereSeparator = addSeparator();
    for (QAction*& action : continueMenuItems) {
        action = item("continueMenuItem", QString());
        addAction(action);
    }
    m_continueSeparator = addSeparator();
    addAction(offlineIndicator);
    offlineSeparatorItem = addSeparator();
    offlineSeparatorItem->setObjectName(u"offlineSeparatorItem"_s);
    addActions({openInBrowserMenuItem, manageProjectsMenuItem, manageTasksMenuItem});
    m_pagesSeparator = addSeparator();
    addActions({preferencesMenuItem, checkForUpdatesMenuItem, helpMenuItem, firstStepsMenuItem, aboutMenuItem});
    addSeparator();
    addAction(quitMenuItem);
    updateVisibility();
    offlineIndicator->setVisible(false);
    offlineSeparatorItem->setVisible(false);
}

bool StatusMenu::needsAccount(const QAction* item) const
{
    // The first steps also show how to start a timer.
    const std::array all{toggleCurrentTimerMenuItem, newTimerMenuItem,       timesheetMenuItem,
                         openInBrowserMenuItem,      manageProjectsMenuItem, manageTasksMenuItem,
                         firstStepsMenuItem,         showElsewhereMenuItem,  stopElsewhereMenuItem};
    return std::ranges::find(all, item) != all.end();
}

void StatusMenu::setSignedOut(bool signedOut)
{
    for (QAction* item : actions()) {
        if (needsAccount(item) || item == m_timerSeparator || item == m_pagesSeparator)
            item->setVisible(!signedOut);
    }
    m_signedOut = signedOut;
    updateVisibility();
}

void StatusMenu::setRecent(const std::vector<std::pair<QString, QString>>& bookings)
{
    for (std::size_t i = 0; i < continueMenuItems.size(); ++i) {
        const auto& [id, title] = i < bookings.size() ? bookings[i] : std::pair<QString, QString>();
        continueMenuItems[i]->setData(id);
        continueMenuItems[i]->setText(title);
    }
    updateVisibility();
}

void StatusMenu::setElsewhere(const QString& text)
{
    elsewhereIndicator->setText(text);
    updateVisibility();
}

void StatusMenu::updateVisibility()
{
    for (QAction* item : {elsewhereIndicator, showElsewhereMenuItem, stopElsewhereMenuItem, m_elsewhereSeparator})
        item->setVisible(!m_signedOut && !elsewhereIndicator->text().isEmpty());
    for (QAction* item : continueMenuItems)
        item->setVisible(!m_signedOut && !item->text().isEmpty());
    m_continueSeparator->setVisible(continueMenuItems.front()->isVisible());
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
