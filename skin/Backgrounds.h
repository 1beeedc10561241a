#pragma once

#include <QWidget>

namespace skin {

/// The strip at the lower edge of a window of the timesheet skin. 34 points high, whatever its own height.
class BottomBarView final : public QWidget
{
    Q_OBJECT
public:
    static constexpr int BarHeight = 34;

    using QWidget::QWidget;
    QSize sizeHint() const override { return {0, BarHeight}; }
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;
};

/// Behind the fields of the edit sheet.
class EditTimerBackground final : public QWidget
{
    Q_OBJECT
public:
    using QWidget::QWidget;

protected:
    void paintEvent(QPaintEvent* event) override;
};

/// Behind the note on a day without entries.
class QuillonNoEntriesBackgroundView final : public QWidget
{
    Q_OBJECT
public:
    using QWidget::QWidget;

protected:
    void paintEvent(QPaintEvent* event) override;
};

/// Around the hours of an entry: quiet until hovered or focused.
class QuillonHoursBackgroundView : public QWidget
{
    Q_OBJECT
public:
    explicit QuillonHoursBackgroundView(QWidget* parent = nullptr);

    /// The hours in it are being edited.
    void setActive(bool active);
    bool active() const { return m_active; }

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    bool m_active = false;
};

/// Visualises a view during layout work: hatched, with its size. Not used in any finished window.
class QuillonDebugBackgroundView final : public QWidget
{
    Q_OBJECT
public:
    using QWidget::QWidget;

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace skin
