#pragma once

#include <QMenu>

#include <array>
#include <utility>
#include <vector>

namespace app {

/// The menu of the status item. Only the layout and the titles: the controller wires, enables and moves the items.
///
/// Object names are the members' names. A disabled item that the controller never enables belongs to a window that this
/// build does not have.
class StatusMenu final : public QMenu
{
    Q_OBJECT
public:
    StatusMenu();

    QAction* toggleCurrentTimerMenuItem;
    QAction* currentProjectMenuItem; ///< outside the menu until the controller puts it in
    QAction* currentTaskMenuItem;    ///< likewise
    QAction* newTimerMenuItem;
    QAction* timesheetMenuItem;
    QAction* elsewhereIndicator; ///< says that a timer runs on a day that the item does not show
    QAction* showElsewhereMenuItem;
    QAction* stopElsewhereMenuItem;
    std::array<QAction*, 5> continueMenuItems; ///< for the last bookings; visible as far as there are any
    QAction* offlineIndicator;
    QAction* offlineSeparatorItem;
    QAction* openInBrowserMenuItem;
    QAction* manageProjectsMenuItem;
    QAction* manageTasksMenuItem;
    QAction* preferencesMenuItem;
    QAction* checkForUpdatesMenuItem;
    QAction* helpMenuItem;
    QAction* firstStepsMenuItem;
    QAction* aboutMenuItem;
    QAction* quitMenuItem;

    /// Whether the item is useless while nobody is signed in. The only such list: for the menu, hosts that draw it,
    /// screen readers, the bus and the command line.
    bool needsAccount(const QAction* item) const;
    /// What can be continued, by the ids of entries and as the items say it, the most recent first.
    void setRecent(const std::vector<std::pair<QString, QString>>& bookings);
    /// What the indicator of a timer on another day says; empty: there is none.
    void setElsewhere(const QString& text);

    /// While signed out, only items that then work are visible.
    void setSignedOut(bool signedOut);

    /// The position of an item, -1 when it is not in the menu.
    int indexOfItem(const QAction* item) const;
    void insertItemAtIndex(QAction* item, int index);

private:
    void updateVisibility();

    QAction* m_timerSeparator;
    QAction* m_elsewhereSeparator;
    QAction* m_continueSeparator;
    bool m_signedOut = false;
    QAction* m_pagesSeparator;
};

} // namespace app
