#pragma once

#include "skin/Image.h"

#include <QPainter>
#include <QWidget>

namespace skin {

/// Shows one picture at a size of its own.
class ImageView final : public QWidget
{
public:
    ImageView(Image image, QSize size) : m_image(image) { setFixedSize(size); }

protected:
    void paintEvent(QPaintEvent* /*event*/) override
    {
        QPainter painter(this);
        m_image.draw(painter, rect());
    }

private:
    const Image m_image;
};

} // namespace skin
