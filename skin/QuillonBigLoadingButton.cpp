#include "skin/QuillonBigLoadingButton.h"

#include "skin/Fonts.h"

#include <QKeyEvent>
#include <QPainter>

namespace skin {

QuillonBigLoadingButton::QuillonBigLoadingButton(const QString& title, QWidget* parent)
    : QuillonButtonCell(title, parent), m_spinner(new Spinner(Spinner::Look::Light, this))
{
    setFont(interfaceFont(14, QFont::DemiBold));
}

void QuillonBigLoadingButton::setLoading(bool loading)
{
    if (loading)
        m_spinner->startAnimation();
    else
        m_spinner->stopAnimation();
    update();
}

QSize QuillonBigLoadingButton::sizeHint() const
{
    return QuillonButtonCell::sizeHint() + QSize(16, 0);
}

std::string_view QuillonBigLoadingButton::imagePrefix() const
{
    return isDown() ? "btn-big-active-" : "btn-big-submit-";
}

bool QuillonBigLoadingButton::hitButton(const QPoint& position) const
{
    return !isLoading() && QuillonButtonCell::hitButton(position);
}

void QuillonBigLoadingButton::keyPressEvent(QKeyEvent* event)
{
    const int key = event->key();
    const bool presses = key == Qt::Key_Space || key == Qt::Key_Select || key == Qt::Key_Return || key == Qt::Key_Enter;
    if (!isLoading() || !presses)
        QuillonButtonCell::keyPressEvent(event);
}

void QuillonBigLoadingButton::paintEvent(QPaintEvent* event)
{
    if (!isLoading()) {
        QuillonButtonCell::paintEvent(event);
        return;
    }
    QPainter painter(this);
    drawBezelWithFrame(painter, rect());
}

void QuillonBigLoadingButton::resizeEvent(QResizeEvent* event)
{
    QuillonButtonCell::resizeEvent(event);
    QRect box(QPoint(0, 0), m_spinner->sizeHint());
    box.moveCenter(rect().center());
    m_spinner->setGeometry(box);
}

} // namespace skin
