#pragma once

#include <QObject>
#include <QPointer>

class QWidget;

namespace skin {

/// The glow around the control that has the keyboard focus: a member of that control. It is drawn over what lies around
/// the control, so that controls need no margin for it.
class FocusRing final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(FocusRing)
public:
    /// Rounded like the control: `radius` in points, at most half the control's height.
    FocusRing(QWidget& control, double radius);
    ~FocusRing() override;

    void setShown(bool shown);
    bool isShown() const { return m_shown; }

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void follow();

    QWidget& m_control;
    double m_radius;
    bool m_shown = false;
    /// A sibling of the control, made when first needed; their parent may delete it first.
    QPointer<QWidget> m_glow;
};

/// Whether focus gained for this reason is to be pointed out on a control without a caret: people who click know where
/// they are.
bool showsFocus(Qt::FocusReason reason);

} // namespace skin
