#pragma once

#include "Carrier.h"

#include <QPointer>
#include <QWidget>

namespace platform {

/// A window that carries the view itself. It never takes the focus and is not in the task bar.
class ViewCarrier : public QWidget, public Carrier
{
public:
    ~ViewCarrier() override;

    void setContent(const ItemContent& content) final;

protected:
    ViewCarrier(QWidget& view, Qt::WindowFlags flags);

    /// Resizes the window to what the view needs, and positions it.
    virtual void setLength(double points) = 0;

    QPointer<QWidget> m_view;
};

} // namespace platform
