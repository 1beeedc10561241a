#pragma once

#include "skin/FocusRing.h"

#include <QCheckBox>

namespace editing {

/// A check box of the dark skin, with a quiet title.
class HUDCheckBox final : public QCheckBox
{
    Q_OBJECT
public:
    explicit HUDCheckBox(const QString& title, QWidget* parent = nullptr);

    QSize sizeHint() const override;

protected:
    bool hitButton(const QPoint& position) const override { return rect().contains(position); }
    void paintEvent(QPaintEvent* event) override;

private:
    skin::FocusRing m_ring;
};

} // namespace editing
