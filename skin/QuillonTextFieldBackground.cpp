#include "skin/QuillonTextFieldBackground.h"

#include "skin/Parts.h"

#include <QApplication>
#include <QPainter>

namespace skin {

QuillonTextFieldBackground::QuillonTextFieldBackground(QWidget* parent) : QWidget(parent), m_ring(*this, 5)
{
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget*, QWidget* now) { followFocus(now); });
}

QuillonTextFieldBackground::~QuillonTextFieldBackground()
{
    // A field in it loses the focus after this object is gone.
    disconnect(qApp, nullptr, this, nullptr);
}

void QuillonTextFieldBackground::setUseHUDBackground(bool useHUDBackground)
{
    m_useHUDBackground = useHUDBackground;
    update();
}

void QuillonTextFieldBackground::setError(bool error)
{
    m_error = error;
    update();
}

void QuillonTextFieldBackground::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const char* prefix = !m_useHUDBackground ? "tw-tf" : m_error ? "hud-tf-error" : "hud-tf";
    drawNinePartImage(painter, rect(), ninePartsNamed(prefix));
}

void QuillonTextFieldBackground::followFocus(QWidget* now)
{
    m_ring.setShown(now && isAncestorOf(now));
}

} // namespace skin
