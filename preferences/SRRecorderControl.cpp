#include "preferences/SRRecorderControl.h"

#include "settings/KeyCodes.h"
#include "skin/AccessibleRole.h"
#include "skin/Image.h"

#include <QAccessibleWidget>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QPainter>
#include <QStyleOptionFrame>
#include <QToolButton>

#include <algorithm>
#include <utility>

namespace preferences {

using namespace Qt::StringLiterals;

namespace {

constexpr int FieldWidth = 220;
constexpr int ButtonSize = 22;
constexpr int IconSize = 16;
constexpr int TextMargin = 8;

/// X and Wayland count the kernel's keys from here.
constexpr quint32 FirstScanCode = 8;

bool isModifier(int key)
{
    switch (key) {
    case Qt::Key_Shift:
    case Qt::Key_Control:
    case Qt::Key_Alt:
    case Qt::Key_Meta:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R:
    case Qt::Key_AltGr:
    case Qt::Key_CapsLock:
    case Qt::Key_NumLock:
    case Qt::Key_ScrollLock:
        return true;
    default:
        return false;
    }
}

bool isFunctionKey(const settings::KeyCombo& combo)
{
    const Qt::Key key = settings::keySequence(combo)[0].key();
    return key >= Qt::Key_F1 && key <= Qt::Key_F35;
}

class RecorderAccessible final : public QAccessibleWidget
{
public:
    explicit RecorderAccessible(SRRecorderControl& recorder) : QAccessibleWidget(&recorder, QAccessible::HotkeyField) {}

    QString text(QAccessible::Text kind) const override
    {
        QString text = QAccessibleWidget::text(kind);
        if (kind != QAccessible::Name)
            return text;
        // The name is always spoken. A label includes its colon.
        return text + (text.endsWith(u':') ? " "_L1 : ": "_L1) + recorder().shownText();
    }

    QStringList actionNames() const override { return {pressAction()}; }
    void doAction(const QString& name) override
    {
        if (name == pressAction()) {
            recorder().setFocus();
            recorder().startRecording();
        }
    }

private:
    SRRecorderControl& recorder() const { return *static_cast<SRRecorderControl*>(object()); }
};

} // namespace

SRRecorderControl::SRRecorderControl(QWidget* parent) : QWidget(parent), m_clear(new QToolButton(this))
{
    skin::installAccessible<SRRecorderControl, RecorderAccessible>();
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setAttribute(Qt::WA_Hover);
    setToolTip(tr("Click, then type the new shortcut"));
    m_clear->setAutoRaise(true);
    m_clear->setFocusPolicy(Qt::NoFocus); // with the keyboard it is Delete
    m_clear->setAccessibleName(tr("Clear Shortcut"));
    m_clear->setToolTip(tr("Clear"));
    m_clear->setIconSize({IconSize, IconSize});
    m_clear->setFixedSize(ButtonSize, ButtonSize);
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(2, 2, 2, 2);
    row->addWidget(m_clear, 0, Qt::AlignRight);
    connect(m_clear, &QToolButton::clicked, this, &SRRecorderControl::clear);
    updateIcon();
    updateShown();
}

void SRRecorderControl::setKeyCombo(const settings::KeyCombo& combo)
{
    m_combo = combo;
    updateShown();
}

void SRRecorderControl::startRecording()
{
    if (std::exchange(m_recording, true))
        return;
    m_pressed = {};
    updateShown();
    emit recordingChanged(true);
}

void SRRecorderControl::stopRecording()
{
    if (!std::exchange(m_recording, false))
        return;
    updateShown();
    emit recordingChanged(false);
}

void SRRecorderControl::clear()
{
    take({});
}

void SRRecorderControl::take(const settings::KeyCombo& combo)
{
    m_combo = combo;
    stopRecording();
    updateShown();
    emit keyComboChanged();
}

QString SRRecorderControl::shownText() const
{
    if (m_recording) {
        const QString pressed = QKeySequence(QKeyCombination(m_pressed, Qt::Key(0))).toString(QKeySequence::NativeText);
        return pressed.isEmpty() ? tr("Type a shortcut") : pressed;
    }
    const QString name = settings::keySequence(m_combo).toString(QKeySequence::NativeText);
    return name.isEmpty() ? tr("None") : name;
}

void SRRecorderControl::updateShown()
{
    m_clear->setVisible(!m_recording && m_combo.code != settings::KeyCombo::NoKey);
    setAccessibleDescription(
        m_recording ? tr("Recording. Type the new shortcut, or press Delete to clear it or Escape to keep it.")
                    : tr("Press Space, then type another shortcut."));
    QAccessibleEvent named(this, QAccessible::NameChanged);
    QAccessible::updateAccessibility(&named);
    update();
}

bool SRRecorderControl::event(QEvent* event)
{
    // While recording, keys do nothing else.
    if (m_recording && event->type() == QEvent::ShortcutOverride) {
        event->accept();
        return true;
    }
    return QWidget::event(event);
}

void SRRecorderControl::keyPressEvent(QKeyEvent* event)
{
    const bool plain = event->modifiers() == Qt::NoModifier;
    const bool clears = plain && (event->key() == Qt::Key_Backspace || event->key() == Qt::Key_Delete);
    if (clears)
        clear();
    else if (m_recording)
        record(*event);
    else if (plain && (event->key() == Qt::Key_Space || event->key() == Qt::Key_Select))
        startRecording();
    else
        QWidget::keyPressEvent(event);
}

void SRRecorderControl::record(QKeyEvent& event)
{
    if (isModifier(event.key())) {
        showModifiers(event.modifiers());
        return;
    }
    if (event.isAutoRepeat())
        return;
    if (event.key() == Qt::Key_Escape && event.modifiers() == Qt::NoModifier) {
        stopRecording();
        return;
    }
    const auto code = event.nativeScanCode() < FirstScanCode
                          ? std::nullopt
                          : settings::codeForEvdev(static_cast<int>(event.nativeScanCode() - FirstScanCode));
    const settings::KeyCombo combo{settings::keyFlags(event.modifiers()), code.value_or(settings::KeyCombo::NoKey)};
    QString reason;
    if (!code)
        emit refused(tr("This key cannot be part of a shortcut."));
    else if (!(combo.flags & ~settings::KeyCombo::Shift) && !isFunctionKey(combo))
        // Such a key could no longer be typed, in any program.
        emit refused(tr("Use it together with Ctrl, Alt or Super."));
    else if (m_taken && m_taken(combo.code, combo.flags, reason))
        emit refused(reason);
    else
        take(combo);
}

void SRRecorderControl::keyReleaseEvent(QKeyEvent* event)
{
    if (m_recording)
        showModifiers(event->modifiers());
    else
        QWidget::keyReleaseEvent(event);
}

void SRRecorderControl::showModifiers(Qt::KeyboardModifiers pressed)
{
    m_pressed = pressed & (Qt::ShiftModifier | Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier);
    update();
}

void SRRecorderControl::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton)
        startRecording();
}

void SRRecorderControl::focusInEvent(QFocusEvent* event)
{
    QWidget::focusInEvent(event);
    update();
}

void SRRecorderControl::focusOutEvent(QFocusEvent* event)
{
    QWidget::focusOutEvent(event);
    stopRecording();
    update();
}

void SRRecorderControl::hideEvent(QHideEvent* event)
{
    QWidget::hideEvent(event);
    stopRecording();
}

void SRRecorderControl::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::StyleChange)
        updateIcon();
}

void SRRecorderControl::updateIcon()
{
    m_clear->setIcon(
        skin::imageNamed("prefs-clear.png").pixmap(devicePixelRatioF(), palette().placeholderText().color()));
}

QSize SRRecorderControl::sizeHint() const
{
    return {FieldWidth, std::max(ButtonSize + 4, fontMetrics().height() + 10)};
}

void SRRecorderControl::paintEvent(QPaintEvent* /*event*/)
{
    QPainter painter(this);
    QStyleOptionFrame frame;
    frame.initFrom(this);
    frame.lineWidth = style()->pixelMetric(QStyle::PM_DefaultFrameWidth, &frame, this);
    frame.state |= QStyle::State_Sunken;
    // A field that records has the focus, and nothing else does.
    frame.state.setFlag(QStyle::State_HasFocus, hasFocus() || m_recording);
    style()->drawPrimitive(QStyle::PE_PanelLineEdit, &frame, &painter, this);

    const bool hint = m_recording ? !m_pressed : m_combo.code == settings::KeyCombo::NoKey;
    painter.setPen(palette().color(isEnabled() ? QPalette::Active : QPalette::Disabled,
                                   hint ? QPalette::PlaceholderText : QPalette::Text));
    const int right = m_clear->isVisibleTo(this) ? ButtonSize + TextMargin / 2 : TextMargin;
    const QRect text = rect().adjusted(TextMargin, 0, -right, 0);
    painter.drawText(text, Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine,
                     fontMetrics().elidedText(shownText(), Qt::ElideRight, text.width()));
}

} // namespace preferences
