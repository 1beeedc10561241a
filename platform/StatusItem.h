#pragma once

#include <QPoint>
#include <QString>

class QMenu;
class QWidget;

namespace platform
{

/// The program's place in the desktop's bar. One carrier of it exists at a time. Main thread only.
///
/// A carrier either shows the view itself or says the same in the desktop's own form from `setDescription`.
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
    virtual double length() const = 0;

    virtual void setEnabled(bool enabled) = 0;
    virtual void setToolTip(const QString& text) = 0;

    /// What is shown, for carriers that cannot show the view: the hours text, whether it runs, and a spoken text.
    struct Description
    {
        QString hours;
        QString spoken;
        bool running = false;
        bool offline = false;
        bool loggedOut = false;
        bool operator==(const Description&) const = default;
    };
    virtual void setDescription(const Description& description) = 0;

    /// Opens `menu` beside the item and returns at once.
    virtual void popUpMenu(QMenu& menu) = 0;

    /// Makes the item known to the person: shows it if hidden, puts it in front.
    virtual void present() = 0;
};

} // namespace platform
