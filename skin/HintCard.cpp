#include "skin/HintCard.h"

#include "skin/AccessibleRole.h"
#include "skin/Colors.h"
#include "skin/Fonts.h"
#include "skin/LinkButton.h"
#include "skin/QuillonButtonCell.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>

namespace skin {

using namespace Qt::StringLiterals;

namespace {

// In points.
constexpr int BestWidth = 330;
constexpr int WindowMargin = 18; // left and right, in a window of its own
constexpr int PartMargin = 10;   // likewise as part of a window
constexpr int EdgeMargin = 14;   // above and below
constexpr int ButtonSpacing = 8;
constexpr int LinkMargin = 2; // of a link's letters, in line with those of the text

QLabel* label(int points, QFont::Weight weight, Role role, const char* name, QWidget* parent)
{
    auto* label = new QLabel(parent);
    label->setObjectName(QLatin1StringView(name));
    label->setFont(interfaceFont(points, weight));
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setContentsMargins(LinkMargin, 0, 0, 0);
    dressed(*label, [label, role] {
        QPalette palette = label->palette();
        palette.setColor(QPalette::WindowText, color(role));
        label->setPalette(palette);
    });
    return label;
}

} // namespace

HintCard::HintCard(QWidget* parent)
    : QWidget(parent), m_title(label(14, QFont::Bold, Role::HintTitle, "hintTitle", this)),
      m_text(label(13, QFont::Normal, Role::HintText, "hintText", this)),
      m_aside(label(12, QFont::Normal, Role::HintAside, "hintAside", this)), m_link(new LinkButton({}, this)),
      m_otherButton(new QuillonButtonCell({}, this, QuillonButtonCell::Cancel)),
      m_button(new QuillonButtonCell({}, this))
{
    // Read out when it appears, though it has no focus.
    installAccessibleRole<HintCard, QAccessible::Notification>();
    // What stands on it goes by its ground, not by the desktop's.
    dressed(*this, [this] {
        QPalette palette = this->palette();
        palette.setColor(QPalette::Window, color(Role::HintGround));
        setPalette(palette);
    });
    m_link->setObjectName(u"hintLink"_s);
    m_otherButton->setObjectName(u"hintOtherButton"_s);
    m_button->setObjectName(u"hintButton"_s);
    m_aside->setContentsMargins(LinkMargin, 0, 0, 2);
    auto* column = new QVBoxLayout(this);
    const int sideMargin = parent->isWindow() ? WindowMargin : PartMargin;
    column->setContentsMargins(sideMargin - LinkMargin, EdgeMargin, sideMargin, EdgeMargin);
    column->setSpacing(0);
    column->addWidget(m_title);
    column->addSpacing(6);
    column->addWidget(m_text);
    column->addSpacing(10);
    column->addWidget(m_aside);
    auto* row = new QHBoxLayout;
    row->addWidget(m_link);
    row->addStretch();
    row->addWidget(m_otherButton);
    row->addSpacing(ButtonSpacing);
    row->addWidget(m_button);
    column->addLayout(row);
    column->addStretch();
    QWidget::setTabOrder(m_button, m_otherButton);
    QWidget::setTabOrder(m_otherButton, m_link);
    // Copies: the call may remove this card, or show another hint on it.
    connect(m_link, &QAbstractButton::clicked, this, [this] { std::function(m_hint.onLink)(); });
    connect(m_button, &QAbstractButton::clicked, this, [this] { std::function(m_hint.onButton)(); });
    connect(m_otherButton, &QAbstractButton::clicked, this, [this] { std::function(m_hint.onOtherButton)(); });
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
    m_button->setText(hint.button.isEmpty() ? tr("Got It") : hint.button);
    m_otherButton->setText(hint.otherButton);
    m_otherButton->setVisible(!hint.otherButton.isEmpty());
    const QString name = (hint.title + u". "_s + hint.lines.join(u' ') + u' ' + hint.aside).simplified();
    if (name != accessibleName()) // each change is announced
        setAccessibleName(name);
    updateGeometry();
}

QSize HintCard::sizeHint() const
{
    return {BestWidth, heightForWidth(BestWidth)};
}

void HintCard::paintEvent(QPaintEvent*)
{
    // In a window of its own, which draws the background.
    if (parentWidget()->isWindow())
        return;
    // A question waits for its answer, and is warm.
    const bool isQuestion = !m_hint.otherButton.isEmpty();
    QPainter painter(this);
    painter.fillRect(rect(), color(isQuestion ? Role::QuestionGround : Role::HintGround));
    const double line = 1 / devicePixelRatioF();
    painter.fillRect(QRectF(0, height() - line, width(), line),
                     color(isQuestion ? Role::QuestionLine : Role::HintLine));
}

} // namespace skin
