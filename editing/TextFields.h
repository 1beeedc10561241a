#pragma once

#include <QLineEdit>
#include <QPlainTextEdit>

#include <initializer_list>

namespace skin {
class QuillonTextFieldBackground;
}

namespace editing {

/// Sets the widget's object name.
template <class Widget>
Widget* named(const char* name, Widget* widget)
{
    widget->setObjectName(QLatin1StringView(name));
    return widget;
}

/// Which skin a field is on.
enum class Look
{
    Dark,  ///< that of the dark panel
    Light, ///< the timesheet's, light or dark as the person likes it
};

/// The colors of a field.
QPalette fieldPalette(Look look);

/// Makes a line edit transparent and sets its font and colors, to be placed in a frame.
void dress(QLineEdit& field, Look look);

/// A frame around the field, inset by that much. The field becomes its child.
skin::QuillonTextFieldBackground* frame(QWidget& field, Look look, QMargins inside);

/// The colors of lists and menus: Window and Base, Mid for the border, Midlight under the pointer, Text, disabled Text
/// for labels, Highlight and HighlightedText.
QPalette listPalette(Look look);

/// Tab goes from each of them to the next.
void setTabOrder(std::initializer_list<QWidget*> order);

/// Notes of any length, in lines that wrap: scrolls when necessary. Tab leaves it.
class NotesField final : public QPlainTextEdit
{
    Q_OBJECT
public:
    explicit NotesField(Look look, QWidget* parent = nullptr);

    /// Exactly what was set or typed; lines end in "\n".
    QString text() const;
    /// Resets the caret and the undo history. Megabytes appear at once.
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
