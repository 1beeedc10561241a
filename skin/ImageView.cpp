#include "skin/ImageView.h"

#include <QPainter>

namespace skin {

ImageView::ImageView(Image image, QWidget* parent) : QWidget(parent), m_image(image)
{
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void ImageView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    m_image.draw(painter, rect());
}

} // namespace skin
