#pragma once

#include "skin/Image.h"

#include <QWidget>

namespace skin {

/// Shows one picture, stretched over the widget.
class ImageView final : public QWidget
{
    Q_OBJECT
public:
    explicit ImageView(Image image, QWidget* parent = nullptr);

    QSize sizeHint() const override { return m_image.size().toSize(); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    const Image m_image;
};

} // namespace skin
