#pragma once

#include "Carrier.h"

#include <QPointer>
#include <QWidget>

namespace platform {

/// A window that carries the view itself. It never takes the focus and stands in no task bar.
class ViewCarrier : public QWidget, public Carrier
{
public:
    ~ViewCarrier() override;

    void setContent(const ItemContent& content) final;

protected:
    ViewCarrier(QWidget& view, Qt::WindowFlags flags);

    /// The window takes the size that the view needs, and puts it in its place.
    virtual void setLength(double points) = 0;

    QPointer<QWidget> m_view;
};

} // namespace platform
