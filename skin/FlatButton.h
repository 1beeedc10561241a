#pragma once

#include "skin/FocusRing.h"

#include <QAbstractButton>

namespace skin {

/// A button without a frame: glows with the keyboard focus, is pressed with the space bar or Return, and is redrawn
/// when the pointer enters or leaves.
class FlatButton : public QAbstractButton
{
    Q_OBJECT
public:
    /// `radius` of the glow's corners, in points.
    FlatButton(double radius, QWidget* parent);

    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    FocusRing m_ring;
};

} // namespace skin
