#include "CarrierSwitch.h"

#include "FloatingStrip.h"
#include "XEmbedDock.h"

#include <QMetaObject>
#include <QWidget>

namespace platform {

using namespace std::chrono_literals;

namespace {

constexpr double kThickness = 22;

// A panel that starts anew is away for a moment, and one that comes up offers one place after the other.
constexpr auto kSettling = 1s;

} // namespace

CarrierSwitch::CarrierSwitch(TimeSource& time)
    : m_time(time), m_tray([this] { trayChanged(); }), m_host([this] { hostChanged(); })
{
}

CarrierSwitch::~CarrierSwitch() = default;

CarrierSwitch::Kind CarrierSwitch::wanted() const
{
    if (!m_view)
        return Kind::None;
    if (m_floating)
        return Kind::Strip;
    if (m_tray.owner() && !m_trayRefused)
        return Kind::Dock;
    if (m_host.isThere() && !m_hostRefused && m_standIn.menu)
        return Kind::Notifier;
    return Kind::Strip;
}

void CarrierSwitch::decide()
{
    m_settling.reset();
    if (const Kind kind = wanted(); kind != m_kind)
        change(kind);
}

/// For carriers, which must not be destroyed by their own call.
void CarrierSwitch::decideSoon()
{
    QMetaObject::invokeMethod(
        &m_context, [this] { decide(); }, Qt::QueuedConnection);
}

void CarrierSwitch::decideSettled()
{
    m_settling = m_time.repeat(kSettling, [this] { decide(); });
}

std::unique_ptr<StatusItem> CarrierSwitch::make(Kind kind)
{
    switch (kind) {
    case Kind::Dock:
        return std::make_unique<XEmbedDock>(m_time, m_tray.owner(), [this] {
            m_trayRefused = true;
            decideSoon();
        });
    case Kind::Notifier:
        return std::make_unique<NotifierItem>([this] {
            m_hostRefused = true;
            decideSoon();
        });
    case Kind::Strip:
        return std::make_unique<FloatingStrip>();
    case Kind::None:
        break;
    }
    return nullptr;
}

void CarrierSwitch::change(Kind kind)
{
    // One at a time: the view can be in one place only.
    m_carrier.reset();
    m_kind = kind;
    m_carrier = make(kind);
    if (!m_carrier)
        return;
    m_carrier->setLength(m_length);
    m_carrier->setEnabled(m_enabled);
    m_carrier->setToolTip(m_toolTip);
    m_carrier->setDescription(m_description);
    m_carrier->setView(m_view);
    m_carrier->setStandIn(m_standIn);
}

void CarrierSwitch::trayChanged()
{
    m_trayRefused = false;
    // Its windows are gone with it.
    if (m_kind == Kind::Dock)
        change(Kind::None);
    decideSettled();
}

void CarrierSwitch::hostChanged()
{
    m_hostRefused = false;
    // At the start nothing is under way that could settle.
    if (std::exchange(m_hostKnown, true))
        decideSettled();
    else
        decide();
}

double CarrierSwitch::thickness() const
{
    return kThickness;
}

void CarrierSwitch::setView(QWidget* view)
{
    m_view = view;
    if (m_carrier && view)
        m_carrier->setView(view);
    decide();
}

void CarrierSwitch::setLength(double points)
{
    m_length = points;
    if (m_carrier)
        m_carrier->setLength(points);
}

void CarrierSwitch::setEnabled(bool enabled)
{
    m_enabled = enabled;
    if (m_carrier)
        m_carrier->setEnabled(enabled);
}

void CarrierSwitch::setToolTip(const QString& text)
{
    m_toolTip = text;
    if (m_carrier)
        m_carrier->setToolTip(text);
}

void CarrierSwitch::setDescription(const Description& description)
{
    m_description = description;
    if (m_carrier)
        m_carrier->setDescription(description);
}

void CarrierSwitch::setStandIn(StandIn standIn)
{
    m_standIn = std::move(standIn);
    if (m_carrier)
        m_carrier->setStandIn(m_standIn);
    if (m_standIn.menu)
        m_host.begin();
    decide();
}

void CarrierSwitch::setFloating(bool floating)
{
    m_floating = floating;
    decide();
}

StatusItem::Place CarrierSwitch::place() const
{
    return m_carrier ? m_carrier->place() : Place{};
}

void CarrierSwitch::popUpMenu(QMenu& menu)
{
    if (m_carrier)
        m_carrier->popUpMenu(menu);
}

void CarrierSwitch::present()
{
    if (m_carrier)
        m_carrier->present();
}

QString CarrierSwitch::describe() const
{
    if (m_carrier)
        return m_carrier->describe();
    return m_view ? QStringLiteral("between two places, for a moment") : foretell();
}

QString CarrierSwitch::foretell() const
{
    if (!m_floating && m_tray.owner())
        return QStringLiteral("docked in the panel, if that grants it the room");
    if (!m_floating && NotifierHost::isThereNow())
        return QStringLiteral("a status notifier item, drawn by the desktop");
    return QStringLiteral("a floating strip");
}

} // namespace platform
