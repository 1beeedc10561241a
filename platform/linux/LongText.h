#pragma once

#include <QPlainTextEdit>

namespace platform {

/// A text that is too long for its window: read by scrolling, with the keys as well, and selected. Shows all of it at
/// once, be it megabytes.
class LongText final : public QPlainTextEdit
{
public:
    /// `width` in points.
    LongText(int width, QWidget* parent);

    /// Takes as much height as the text needs, and leaves most of the screen for the rest of the window. The same text
    /// again changes nothing: the person may be in the middle of it.
    void setText(const QString& text);

private:
    QString m_text;
};

} // namespace platform
