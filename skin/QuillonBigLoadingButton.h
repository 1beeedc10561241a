#pragma once

#include "skin/QuillonButtonCell.h"
#include "skin/Spinner.h"

namespace skin {

/// The one large button of an otherwise empty view. While what it asked for is under way it shows a spinner instead of
/// its title and takes no further presses.
class QuillonBigLoadingButton final : public QuillonButtonCell
{
    Q_OBJECT
public:
    explicit QuillonBigLoadingButton(const QString& title = {}, QWidget* parent = nullptr);

    void setLoading(bool loading);
    bool isLoading() const { return m_spinner->isAnimating(); }

    QSize sizeHint() const override;

protected:
    std::string_view imagePrefix() const override;
    bool hitButton(const QPoint& position) const override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    Spinner* m_spinner;
};

} // namespace skin
