#pragma once

#include "skin/FocusRing.h"
#include "skin/Image.h"

#include <QPushButton>

namespace skin {

/// A button of the timesheet skin. Its look depends on its state and its purpose: one that cancels is quiet, any other
/// submits.
class QuillonButtonCell : public QPushButton
{
    Q_OBJECT
public:
    enum Purpose
    {
        Submit,
        Cancel ///< for the one titled "Cancel", in any language
    };

    explicit QuillonButtonCell(const QString& title = {}, QWidget* parent = nullptr, Purpose purpose = Submit);

    bool isCancelButton() const { return m_isCancelButton; }
    bool isSubmitButton() const { return !isCancelButton(); }
    virtual bool shouldShadowText() const { return isSubmitButton(); }
    virtual QColor textColor() const;
    Image leftImage() const { return part("left"); }
    Image midImage() const { return part("mid"); }
    Image rightImage() const { return part("right"); }

    /// The look without a title.
    void drawBezelWithFrame(QPainter& painter, const QRectF& frame) const;
    /// `title` centred in `frame`, elided if it does not fit.
    void drawTitle(QPainter& painter, const QString& title, const QRectF& frame) const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    /// The common prefix of the three pictures' names, such as "btn-tw-submit-".
    virtual std::string_view imagePrefix() const;
    /// Whether there are pictures for each state; if not, a disabled button is drawn faint.
    virtual bool showsDisabledByImage() const { return false; }

    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    Image part(std::string_view which) const;
    QString shownTitle(const QString& title, const QRectF& frame) const;

    const bool m_isCancelButton;
    FocusRing m_ring;
};

/// The same in the dark skin.
class QuillonHUDButtonCell final : public QuillonButtonCell
{
    Q_OBJECT
public:
    using QuillonButtonCell::QuillonButtonCell;

    bool shouldShadowText() const override { return true; }
    QColor textColor() const override;

protected:
    std::string_view imagePrefix() const override;
    bool showsDisabledByImage() const override { return true; }
};

/// The large one of an otherwise empty view.
class QuillonBigLoadingButton final : public QuillonButtonCell
{
    Q_OBJECT
public:
    using QuillonButtonCell::QuillonButtonCell;

protected:
    std::string_view imagePrefix() const override { return isDown() ? "btn-big-active-" : "btn-big-submit-"; }
};

} // namespace skin
