#pragma once

#include <QObject>
#include <QPointer>

class QWidget;

namespace skin {

/// The glow around the control that has the keyboard focus: a member of that control. It is drawn over the control's
/// surroundings, so that controls need no margin for it.
///
/// It follows the focus of the control by itself, but a click brings no glow: people who click know where they are.
class FocusRing final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(FocusRing)
public:
    /// Rounded like the control: `radius` in points, at most half the control's height.
    FocusRing(QWidget& control, double radius);
    ~FocusRing() override;

    /// For controls that glow for reasons other than their own focus.
    void setShown(bool shown);
    bool isShown() const { return m_shown; }

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void follow();

    QWidget& m_control;
    double m_radius;
    bool m_shown = false;
    bool m_byKeyboard = false;
    /// A sibling of the control, made when first needed; their parent may delete it first.
    QPointer<QWidget> m_glow;
};

} // namespace skin
