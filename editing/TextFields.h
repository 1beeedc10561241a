#pragma once

#include <QLineEdit>
#include <QPlainTextEdit>

namespace editing {

/// On which skin a field lies.
enum class Look
{
    Dark,
    Light,
};

/// Makes a line of text see-through and sets its font and colours, to lie in a QuillonTextFieldBackground.
void dress(QLineEdit& field, Look look);

/// Notes of any length, in lines that wrap: scrolls where they do not fit. Tab leaves it.
///
/// Put it into a QuillonTextFieldBackground.
class NotesField final : public QPlainTextEdit
{
    Q_OBJECT
public:
    explicit NotesField(Look look, QWidget* parent = nullptr);

    /// Sign for sign what was set or typed; lines end in "\n".
    QString text() const;
    /// Not for what is being typed: forgets the caret and what could be undone. Megabytes appear at once.
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
