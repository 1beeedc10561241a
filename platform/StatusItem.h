#pragma once

#include <QImage>
#include <QRect>
#include <QString>

#include <functional>
#include <optional>

class QMenu;
class QWidget;

namespace platform {

/// The program's place in the desktop's bar. One carrier for it exists at a time. Main thread only.
///
/// A carrier either shows the view itself or presents the same in the desktop's own form from `setDescription`.
class StatusItem
{
public:
    virtual ~StatusItem() = default;

    /// Height in points that the bar gives to a view.
    virtual double thickness() const = 0;

    /// Shows `view`. Not owned; must outlive the item or be taken back with nullptr.
    virtual void setView(QWidget* view) = 0;

    /// Width in points.
    virtual void setLength(double points) = 0;

    virtual void setEnabled(bool enabled) = 0;
    virtual void setToolTip(const QString& text) = 0;

    /// For carriers that cannot show the view: the hours text, whether the timer runs, and a spoken text.
    struct Description
    {
        QString hours;
        QString spoken;
        bool running = false;
        bool offline = false;
        bool loggedOut = false;
        QString about; ///< what it is spent on: project, task
        bool operator==(const Description&) const = default;
    };
    virtual void setDescription(const Description& description) = 0;

    /// What carriers that cannot show the view show in its place. Until it is set, the item is one that shows the view.
    struct StandIn
    {
        QMenu* menu = nullptr;          ///< offered to desktops that draw menus themselves. Flat. Not owned
        std::function<void()> openMenu; ///< the item is pressed; what there is to open instead is the program's choice
        std::function<void()> toggleTimer;
        /// A square picture, with its side in device pixels. `withHours` unless the desktop shows them beside it.
        std::function<QImage(const Description&, int side, bool withHours)> tile;
    };
    /// An empty one takes it back: before the menu goes.
    virtual void setStandIn(StandIn standIn) = 0;

    /// Keeps the item out of the desktop's bar, in a small window of its own. Off by default; best set before the view.
    virtual void setFloating(bool floating) = 0;

    /// What is visible of it, and where.
    struct Place
    {
        bool showsView = true;         ///< else a tile, drawn by the desktop
        std::optional<QRect> onScreen; ///< of the view, in points. Empty: not to be known
        QString drawback; ///< for people: a sentence on why to find it another place, and how. As a rule empty
        bool operator==(const Place&) const = default;
    };
    /// One round trip or two where the item is docked: panels do not report when they move it.
    virtual Place place() const = 0;

    /// Opens `menu` beside the item and returns at once.
    virtual void popUpMenu(QMenu& menu) = 0;

    /// Draws attention to the item: shows it if hidden, raises it.
    virtual void present() = 0;

    /// Where the item is now and what the desktop offers it, in one readable line. Before it has a view: where it would
    /// first appear; asks the desktop, for half a second at most.
    virtual QString describe() const = 0;
};

} // namespace platform
