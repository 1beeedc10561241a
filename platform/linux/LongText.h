#pragma once

#include <QPlainTextEdit>

namespace platform {

/// Text that is too long for its window: it scrolls, by keyboard too, and can be selected. Takes all of it at once,
/// even megabytes.
class LongText final : public QPlainTextEdit
{
public:
    /// `width` in points.
    LongText(int width, QWidget* parent);

    /// Grows as high as the text needs, but leaves most of the screen for the rest of the window. Setting the same text
    /// again changes nothing: the person may be reading it.
    void setText(const QString& text);

private:
    QString m_text;
};

} // namespace platform
