#pragma once

#include "../StatusItem.h"
#include "../TimeSource.h"

#include <cstdint>
#include <memory>

namespace platform {

/// The view itself, docked in a panel's notification area (freedesktop.org XEmbed and System Tray Protocol).
///
/// Panels that want icons give less room than the view needs, or far more. That shows a moment after it was docked.
class XEmbedDock final : public StatusItem
{
public:
    /// `tray` takes the request, `refused` is told that the view does not fit, or was put out; it must not destroy
    /// this.
    XEmbedDock(TimeSource& time, std::uint32_t tray, std::function<void()> refused);
    ~XEmbedDock() override;

    double thickness() const override;
    void setView(QWidget* view) override;
    void setLength(double points) override;
    double length() const override;
    void setEnabled(bool enabled) override;
    void setToolTip(const QString& text) override;
    void setDescription(const Description& description) override;
    /// It shows the view itself.
    void setStandIn(StandIn) override {}
    void setFloating(bool) override {}
    Place place() const override;
    void popUpMenu(QMenu& menu) override;
    void present() override {}
    QString describe() const override;

private:
    class Window;
    std::unique_ptr<Window> m_window;
};

} // namespace platform
