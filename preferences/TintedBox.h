#pragma once

#include <QWidget>

namespace preferences {

/// Sets what is in it off from the page by a tint of the desktop's highlight.
class TintedBox final : public QWidget
{
    Q_OBJECT
public:
    using QWidget::QWidget;

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace preferences
