#include "skin/HintCard.h"

#include "skin/ColorHex.h"
#include "skin/Fonts.h"
#include "skin/LinkButton.h"
#include "skin/QuillonButtonCell.h"

#include <QAccessibleWidget>
#include <QLabel>
#include <QPainter>

#include <algorithm>

namespace skin {

using namespace Qt::StringLiterals;

namespace {

// In points.
constexpr int bestWidth = 330;
constexpr int windowMargin = 18; // left and right, in a window of its own
constexpr int partMargin = 10;   // likewise as part of a window
constexpr int topMargin = 14;
constexpr int bottomMargin = 14;
constexpr int titleGap = 6;
constexpr int asideGap = 10;
constexpr int partGap = 6;

/// What is said when it comes up, though nobody went there.
class HintCardAccessible final : public QAccessibleWidget
{
public:
    explicit HintCardAccessible(HintCard& card) : QAccessibleWidget(&card, QAccessible::Notification) {}
};

QAccessibleInterface* makeInterface(const QString&, QObject* object)
{
    auto* card = qobject_cast<HintCard*>(object);
    return card ? new HintCardAccessible(*card) : nullptr;
}

QLabel* label(int points, QFont::Weight weight, const char* color, const char* name, QWidget* parent)
{
    auto* label = new QLabel(parent);
    label->setObjectName(QLatin1StringView(name));
    label->setFont(interfaceFont(points, weight));
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, colorFromHexRGB(QLatin1StringView(color)));
    label->setPalette(palette);
    return label;
}

} // namespace

HintCard::HintCard(QWidget* parent)
    : QWidget(parent), m_title(label(14, QFont::Bold, "222222", "hintTitle", this)),
      m_text(label(13, QFont::Normal, "333333", "hintText", this)),
      m_aside(label(12, QFont::Normal, "5A5F66", "hintAside", this)), m_link(new LinkButton({}, this)),
      m_button(new QuillonButtonCell(tr("Got It"), this))
{
    static const bool known = (QAccessible::installFactory(makeInterface), true);
    Q_UNUSED(known)
    // The ground is light on dark desktops, too.
    QPalette palette = this->palette();
    palette.setColor(QPalette::Window, ground());
    setPalette(palette);
    m_link->setObjectName(u"hintLink"_s);
    m_button->setObjectName(u"hintButton"_s);
    QWidget::setTabOrder(m_button, m_link);
    // Copies: the call may put this card away, or another hint on it.
    connect(m_link, &QAbstractButton::clicked, this, [this] { std::function(m_hint.onLink)(); });
    connect(m_button, &QAbstractButton::clicked, this, [this] { std::function(m_hint.onButton)(); });
}

void HintCard::setHint(const Hint& hint)
{
    m_hint = hint;
    m_title->setText(hint.title);
    m_text->setText(hint.lines.join(u'\n'));
    m_aside->setText(hint.aside);
    m_aside->setVisible(!hint.aside.isEmpty());
    m_link->setText(hint.link);
    m_link->setVisible(!hint.link.isEmpty());
    setAccessibleName(QStringList{hint.title, hint.lines.join(u' '), hint.aside}.join(". "_L1));
    layOut(width(), true);
    updateGeometry();
}

QSize HintCard::sizeHint() const
{
    return {bestWidth, heightForWidth(bestWidth)};
}

int HintCard::heightForWidth(int width) const
{
    return layOut(width, false);
}

bool HintCard::isAlone() const
{
    return parentWidget() && parentWidget()->isWindow();
}

int HintCard::layOut(int width, bool move) const
{
    const int sideMargin = isAlone() ? windowMargin : partMargin;
    const int inner = width - 2 * sideMargin;
    int y = topMargin;
    const auto place = [&](QWidget* part, int height) {
        if (move)
            part->setGeometry(sideMargin, y, inner, height);
        y += height;
    };
    place(m_title, m_title->heightForWidth(inner));
    y += titleGap;
    place(m_text, m_text->heightForWidth(inner));
    y += asideGap;
    if (!m_aside->isHidden())
        place(m_aside, m_aside->heightForWidth(inner));
    // The link and the button share a line where both fit.
    const QSize button = m_button->sizeHint();
    QSize link = m_link->isHidden() ? QSize() : m_link->sizeHint();
    const bool together = link.width() + partGap + button.width() <= inner;
    if (!link.isEmpty() && !together) {
        if (move)
            m_link->setGeometry(QRect(QPoint(sideMargin - 2, y), link));
        y += link.height() + partGap;
    } else {
        y += m_aside->isHidden() ? 0 : 2;
        if (move && !link.isEmpty())
            m_link->setGeometry(QRect(QPoint(sideMargin - 2, y + (button.height() - link.height()) / 2), link));
    }
    if (move)
        m_button->setGeometry(QRect(QPoint(width - sideMargin - button.width(), y), button));
    return y + button.height() + bottomMargin;
}

void HintCard::resizeEvent(QResizeEvent*)
{
    layOut(width(), true);
}

void HintCard::paintEvent(QPaintEvent*)
{
    // In a window of its own, that draws the ground.
    if (isAlone())
        return;
    QPainter painter(this);
    painter.fillRect(rect(), ground());
    const double line = 1 / devicePixelRatioF();
    painter.fillRect(QRectF(0, height() - line, width(), line), colorFromHexRGB(u"B9C4CF"_s));
}

} // namespace skin
