#include "editing/HintLabel.h"

#include "skin/Fonts.h"

#include <QAccessibleWidget>

#include <mutex>

namespace editing {

namespace {

constexpr int fontPoints = 11;

QAccessibleInterface* makeInterface(const QString& /*className*/, QObject* object)
{
    auto* label = qobject_cast<HintLabel*>(object);
    // Screen readers speak a notification when it comes up, whatever has the focus.
    return label ? new QAccessibleWidget(label, QAccessible::Notification) : nullptr;
}

} // namespace

HintLabel::HintLabel(const QColor& quiet, const QColor& warning, QWidget* parent)
    : QLabel(parent), m_quiet(quiet), m_warning(warning)
{
    static std::once_flag accessible;
    std::call_once(accessible, [] { QAccessible::installFactory(makeInterface); });
    setTextFormat(Qt::PlainText);
    setFont(skin::interfaceFont(fontPoints));
    hide();
}

void HintLabel::advise(const QString& text)
{
    put(text, m_quiet);
    if (text.isEmpty())
        hide();
}

void HintLabel::warn(const QString& text)
{
    const bool wasEmpty = this->text().isEmpty();
    put(text, m_warning);
    if (wasEmpty)
        show(); // which is told
    else if (isVisible()) {
        QAccessibleEvent shown(this, QAccessible::ObjectShow);
        QAccessible::updateAccessibility(&shown);
    }
}

void HintLabel::put(const QString& text, const QColor& colour)
{
    QPalette palette;
    palette.setColor(QPalette::WindowText, colour);
    setPalette(palette);
    setText(text);
    setAccessibleName(text); // this is told as well
}

} // namespace editing
