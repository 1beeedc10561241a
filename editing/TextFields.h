#pragma once

#include <QLineEdit>
#include <QPlainTextEdit>

#include <initializer_list>

namespace skin {
class QuillonTextFieldBackground;
}

namespace editing {

/// Gives the widget its object name.
template <class Widget>
Widget* named(const char* name, Widget* widget)
{
    widget->setObjectName(QLatin1StringView(name));
    return widget;
}

/// On which skin a field lies.
enum class Look
{
    Dark,
    Light,
};

/// Makes a line of text see-through and sets its font and colors, to be put into a frame.
void dress(QLineEdit& field, Look look);

/// A frame around the field, which stands that far inside it. The field becomes its child.
skin::QuillonTextFieldBackground* frame(QWidget& field, Look look, QMargins inside);

/// The colors of lists and menus: Window, Mid for the border, Midlight under the pointer, Text, disabled Text for
/// labels, Highlight and HighlightedText.
QPalette listPalette(Look look);

/// Tab goes from each of them to the next.
void setTabOrder(std::initializer_list<QWidget*> order);

/// Notes of any length, in lines that wrap: scrolls where they do not fit. Tab leaves it.
class NotesField final : public QPlainTextEdit
{
    Q_OBJECT
public:
    explicit NotesField(Look look, QWidget* parent = nullptr);

    /// Exactly what was set or typed; lines end in "\n".
    QString text() const;
    /// Forgets the caret and what could be undone. Megabytes appear at once.
    void setText(const QString& text);
    void insertLineBreak();

protected:
    QMimeData* createMimeDataFromSelection() const override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    QString textBetween(int begin, int end) const;
};

} // namespace editing
