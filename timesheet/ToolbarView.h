#pragma once

#include <QWidget>

namespace timesheet {

/// The strip below the title of the timesheet. Drawn 44 points high, whatever its own height.
class ToolbarView final : public QWidget
{
    Q_OBJECT
public:
    static constexpr int Height = 44;

    using QWidget::QWidget;

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace timesheet
