#pragma once

#include "skin/FocusRing.h"

#include <QWidget>

namespace skin {

/// The frame of a text field, which is placed inside. While anything in it has the keyboard focus it glows.
class QuillonTextFieldBackground : public QWidget
{
    Q_OBJECT
public:
    explicit QuillonTextFieldBackground(QWidget* parent = nullptr);
    ~QuillonTextFieldBackground() override;

    /// The dark look, which is the default, or the light one.
    void setUseHUDBackground(bool useHUDBackground);
    bool useHUDBackground() const { return m_useHUDBackground; }
    /// Marks what was typed as wrong. Shown by the dark look only.
    void setError(bool error);
    bool error() const { return m_error; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void followFocus(QWidget* now);

    bool m_useHUDBackground = true;
    bool m_error = false;
    FocusRing m_ring;
};

} // namespace skin
