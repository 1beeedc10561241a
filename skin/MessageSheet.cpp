#include "skin/MessageSheet.h"

#include "platform/Alerts.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

#include <utility>

namespace skin {

using namespace Qt::StringLiterals;

namespace {

constexpr int textWidth = 320; ///< a line of text as long as reads well
constexpr int iconSize = 48;
constexpr int buttonPadding = 16;
constexpr qsizetype longestText = 600; ///< a service may explain itself at any length

QLabel* textLabel(const QString& text)
{
    auto* label = new QLabel;
    // Texts come from the service too: nothing in them is markup.
    label->setTextFormat(Qt::PlainText);
    label->setText(text.size() <= longestText ? text : text.left(longestText) + u'…');
    label->setWordWrap(true);
    label->setMinimumWidth(textWidth);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    return label;
}

} // namespace

MessageSheet& MessageSheet::show(QWidget& window, const platform::Alert& alert, std::function<void(int)> done)
{
    auto* sheet = new MessageSheet(window, alert, std::move(done));
    sheet->open(sheet->m_default);
    return *sheet;
}

MessageSheet::MessageSheet(QWidget& window, const platform::Alert& alert, std::function<void(int)> done)
    : Sheet(window), m_done(std::move(done))
{
    const QStringList texts = alert.buttons.isEmpty() ? QStringList(tr("OK")) : alert.buttons;
    const int last = static_cast<int>(texts.size()) - 1;
    m_escapeButton = alert.escapeButton >= 0 && alert.escapeButton <= last ? alert.escapeButton : last;
    setAccessibleName(alert.title);
    setAccessibleDescription(alert.text);

    auto* message = textLabel(alert.title);
    QFont bold = message->font();
    bold.setBold(true);
    message->setFont(bold);

    auto* column = new QVBoxLayout;
    column->setSpacing(8);
    column->addWidget(message);
    if (!alert.text.isEmpty())
        column->addWidget(textLabel(alert.text));
    column->addSpacing(12);
    auto* row = new QHBoxLayout;
    row->setSpacing(8);
    row->addStretch();
    column->addLayout(row);

    auto* all = new QHBoxLayout(&body());
    all->setContentsMargins(20, 18, 20, 18);
    all->setSpacing(16);
    if (const QIcon icon = QApplication::windowIcon(); !icon.isNull()) {
        auto* picture = new QLabel;
        picture->setPixmap(icon.pixmap(QSize(iconSize, iconSize), devicePixelRatioF()));
        all->addWidget(picture, 0, Qt::AlignTop);
    }
    all->addLayout(column, 1);

    // The default one at the right, the others before it. Tab goes from left to right.
    for (int i = last; i >= 0; --i) {
        auto* button = new QPushButton(QString(texts[i]).replace(u'&', "&&"_L1));
        button->setMinimumWidth(button->sizeHint().width() + buttonPadding);
        row->addWidget(button);
        connect(button, &QPushButton::clicked, this, [this, i] { press(i); });
        m_default = button; // in the end the first of them
    }
    setDefaultButton(m_default);
}

void MessageSheet::cancel()
{
    press(m_escapeButton);
}

void MessageSheet::press(int button)
{
    if (!isOpen())
        return;
    close();
    if (const auto done = std::exchange(m_done, {}))
        done(button);
}

void MessageSheet::hideEvent(QHideEvent* event)
{
    Sheet::hideEvent(event);
    if (!isOpen())
        deleteLater();
}

} // namespace skin
