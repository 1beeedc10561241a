#pragma once

#include "../StatusItem.h"

namespace platform {

/// The status item's content, whichever carrier it is in.
struct ItemContent
{
    QWidget* view = nullptr; ///< not owned
    double length = 0;       ///< of the view, in points
    bool enabled = true;
    QString toolTip;
    StatusItem::Description description;
    StatusItem::StandIn standIn;
};

/// One of the places that a desktop may have for the status item. Made with its whole content when the item moves
/// there, and remade for another view or stand-in. It must not be destroyed from within its own call.
class Carrier
{
public:
    /// Points from top to bottom.
    static constexpr int Thickness = 22;

    virtual ~Carrier() = default;

    /// Shows what has changed, except view and stand-in.
    virtual void setContent(const ItemContent& content) = 0;

    // As in StatusItem.
    virtual StatusItem::Place place() const = 0;
    virtual void popUpMenu(QMenu& menu) = 0;
    virtual void present() {}
    virtual QString describe() const = 0;
};

} // namespace platform
