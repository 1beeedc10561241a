#pragma once

#include <QLabel>

#include <memory>

class QTextLayout;

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
    ~QuillonTextFieldCell() override;

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
    double widthOfLine() const { return shapedLine().width; }
    int heightOfLine() const;

    /// Letters in their places, without a colour. To shape them is most of the work of measuring and of drawing them.
    struct Shaped
    {
        std::unique_ptr<QTextLayout> layout;
        double width = 0;
    };
    Qt::LayoutDirection reading() const;
    Shaped shaped(const QString& line) const;
    const Shaped& shapedLine() const;
    /// As much of the line as fits.
    const Shaped& shapedIn(double space);

    BackgroundStyle m_style = BackgroundStyle::Normal;
    // What was measured or drawn last: rows are laid out and drawn again after each merge, mostly as they were.
    mutable QString m_text;
    mutable QFont m_font;
    mutable Shaped m_line;
    mutable Shaped m_elided;
    double m_space = 0; ///< of the elided line
};

} // namespace skin
