#pragma once

#include "../TimeSource.h"
#include "ViewCarrier.h"

#include <QAbstractNativeEventFilter>

#include <cstdint>
#include <functional>
#include <memory>

namespace platform {

/// The view itself, docked in a panel's notification area (freedesktop.org XEmbed and System Tray Protocol).
///
/// Panels that expect icons give less room than the view needs, or far more. That shows a moment after docking.
class XEmbedDock final : public ViewCarrier, public QAbstractNativeEventFilter
{
public:
    /// `tray` takes the request; `refused` is called when the view does not fit, or was undocked. `content` has a view.
    XEmbedDock(TimeSource& time, std::uint32_t tray, const ItemContent& content, std::function<void()> refused);
    ~XEmbedDock() override;

    StatusItem::Place place() const override;
    void popUpMenu(QMenu& menu) override;
    QString describe() const override;

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;

protected:
    void setLength(double points) override;

    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void dock();
    void dockedOrPutOut();
    void layOutView();
    void judgeLater();
    bool fits() const;
    /// On the screen. Qt does not know the windows that contain it, nor always what they do to it.
    QRect area() const;
    /// The size the panel gives it, in points.
    QSize granted() const;

    TimeSource& m_time;
    const std::uint32_t m_tray;
    const std::function<void()> m_refused;
    double m_length = 0;
    std::uint32_t m_id = 0; ///< of the window that asks to be docked
    bool m_docked = false;
    int m_patience = 3; ///< trials more, while the panel has not taken the view yet
    std::unique_ptr<TimeSource::Timer> m_trial;
};

} // namespace platform
