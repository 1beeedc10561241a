#include "CarrierSwitch.h"

#include "FloatingStrip.h"
#include "NotifierItem.h"
#include "XEmbedDock.h"

#include <QApplication>
#include <QWidget>

namespace platform {

using namespace std::chrono_literals;

namespace {

// A restarting panel is away for a moment, and one that comes up offers one place after another.
constexpr auto Settling = 1s;

} // namespace

CarrierSwitch::CarrierSwitch(TimeSource& time)
    : m_time(time), m_tray([this] { trayChanged(); }), m_host([this] { hostChanged(); })
{
}

CarrierSwitch::~CarrierSwitch() = default;

bool CarrierSwitch::available()
{
    return qobject_cast<QApplication*>(QCoreApplication::instance()) && QGuiApplication::primaryScreen();
}

CarrierSwitch::Kind CarrierSwitch::wanted() const
{
    if (!m_content.view)
        return Kind::None;
    if (m_floating)
        return Kind::Strip;
    if (m_tray.owner() && !m_trayRefused)
        return Kind::Dock;
    if (m_host.isThere() && !m_hostRefused && m_content.standIn.menu)
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
    m_settling = m_time.repeat(Settling, [this] { decide(); });
}

std::unique_ptr<Carrier> CarrierSwitch::make(Kind kind)
{
    switch (kind) {
    case Kind::Dock:
        return std::make_unique<XEmbedDock>(m_time, m_tray.owner(), m_content, [this] {
            m_trayRefused = true;
            decideSoon();
        });
    case Kind::Notifier:
        return std::make_unique<NotifierItem>(m_content, m_host.showsLabel(), [this] {
            m_hostRefused = true;
            decideSoon();
        });
    case Kind::Strip:
        return std::make_unique<FloatingStrip>(m_content);
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
    // At the start nothing is pending that could settle.
    if (std::exchange(m_hostKnown, true))
        decideSettled();
    else
        decide();
}

void CarrierSwitch::setView(QWidget* view)
{
    m_content.view = view;
    change(Kind::None);
    decide();
}

void CarrierSwitch::setStandIn(StandIn standIn)
{
    m_content.standIn = std::move(standIn);
    if (m_kind == Kind::Notifier)
        change(Kind::None);
    if (m_content.standIn.menu)
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
    Place place = m_carrier ? m_carrier->place() : Place{};
    if (!m_carrier && !m_content.view && foretell() == Kind::Strip)
        place.drawback = FloatingStrip::drawback();
    // Whoever wants it there knows.
    if (m_floating)
        place.drawback.clear();
    return place;
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
    if (m_content.view)
        return QStringLiteral("between two places, for a moment");
    switch (foretell()) {
    case Kind::Dock:
        return QStringLiteral("docked in the panel, if that grants it the room");
    case Kind::Notifier:
        return QStringLiteral("a status notifier item, drawn by the desktop");
    default:
        return QStringLiteral("a floating strip");
    }
}

CarrierSwitch::Kind CarrierSwitch::foretell() const
{
    if (!m_floating && m_tray.owner())
        return Kind::Dock;
    if (!m_floating && NotifierHost::isThereNow())
        return Kind::Notifier;
    return Kind::Strip;
}

} // namespace platform
