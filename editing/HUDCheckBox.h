#pragma once

#include "skin/FocusRing.h"

#include <QCheckBox>

namespace editing {

/// A check box of the dark skin, with a quiet title. Its shortcut turns it on, at once, and never off.
class HUDCheckBox final : public QCheckBox
{
    Q_OBJECT
public:
    explicit HUDCheckBox(const QString& title, QWidget* parent = nullptr);

    QSize sizeHint() const override;

signals:
    /// Its shortcut was pressed while it is on, and it stays on.
    void askedAgain();

protected:
    bool event(QEvent* event) override;
    bool hitButton(const QPoint& position) const override { return rect().contains(position); }
    void paintEvent(QPaintEvent* event) override;

private:
    skin::FocusRing m_ring;
};

} // namespace editing
