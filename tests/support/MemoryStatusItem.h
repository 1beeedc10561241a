#pragma once

#include "platform/StatusItem.h"

#include <QMenu>
#include <QPointer>
#include <QWidget>

namespace support {

/// A status item that nobody sees and that can be asked what it was told.
class MemoryStatusItem final : public platform::StatusItem
{
public:
    double thickness() const override { return 22; }
    void setView(QWidget* shown) override { view = shown; }
    void setLength(double points) override { m_length = points; }
    double length() const { return m_length; }
    void setEnabled(bool on) override { enabled = on; }
    void setToolTip(const QString& text) override { toolTip = text; }
    void setDescription(const Description& told) override { description = told; }
    void setStandIn(StandIn given) override { standIn = std::move(given); }
    void setFloating(bool on) override { floating = on; }

    Place place() const override { return whereabouts; }
    /// Opens the menu for real, at the top left.
    void popUpMenu(QMenu& opened) override
    {
        menu = &opened;
        opened.popup(QPoint(0, 22));
    }
    void present() override { ++presented; }
    QString describe() const override { return QStringLiteral("in memory"); }

    QPointer<QWidget> view;
    QPointer<QMenu> menu;
    QString toolTip;
    Description description;
    Place whereabouts;
    StandIn standIn;
    int presented = 0;
    bool floating = false;
    bool enabled = false;

private:
    double m_length = -1;
};

} // namespace support
