#pragma once

#include "../StatusItem.h"

#include <memory>

namespace platform {

/// The status item as a small window that floats above all others, for desktops whose bar takes no views.
///
/// It is carried about by its grip and stays where it was put, also in later runs (`Strip/geometry` in
/// `Quillon/State.conf` in the person's configuration folder). Never takes the focus, stands in no task bar. On Wayland
/// the compositor places it, and it is a window like any other.
class FloatingStrip final : public StatusItem
{
public:
    FloatingStrip();
    ~FloatingStrip() override;

    static bool available();

    double thickness() const override;
    void setView(QWidget* view) override;
    void setLength(double points) override;
    double length() const override;
    void setEnabled(bool enabled) override;
    void setToolTip(const QString& text) override;
    void setDescription(const Description& description) override;
    /// It shows the view itself and floats anyway.
    void setStandIn(StandIn) override {}
    void setFloating(bool) override {}
    Place place() const override;
    void popUpMenu(QMenu& menu) override;
    void present() override;
    QString describe() const override;

private:
    class Window;
    std::unique_ptr<Window> m_window;
};

} // namespace platform
