#pragma once

#include <QLabel>

namespace skin {

/// A line of plain text in a window: elided if it does not fit, with the full text as tool tip. Its colour is that of
/// the palette's window text. A right click on it opens the context menu of what is below it.
class QuillonTextFieldCell final : public QLabel
{
    Q_OBJECT
public:
    enum class BackgroundStyle
    {
        Normal,
        /// Set off from a light background by a light edge below the letters.
        Raised
    };

    explicit QuillonTextFieldCell(QWidget* parent = nullptr);

    void setBackgroundStyle(BackgroundStyle style);
    void setTextColor(const QColor& color);
    /// Whether the text does not fit at the present width.
    bool isElided() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    /// Line breaks and other invisible characters become spaces.
    QString line() const;
    double widthOfLine() const;

    BackgroundStyle m_style = BackgroundStyle::Normal;
    struct Measured
    {
        QString text;
        QFont font;
        double width = 0;
    };
    mutable Measured m_measured; ///< last: rows are laid out again after each merge, mostly as they were
};

} // namespace skin
