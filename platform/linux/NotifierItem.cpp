#include "NotifierItem.h"

#include "DBus.h"
#include "DesktopName.h"
#include "MenuExport.h"
#include "NotifierHost.h"

#include <QCoreApplication>
#include <QCursor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QMenu>
#include <QtEndian>

#include <array>

namespace platform {

using namespace Qt::StringLiterals;

namespace {

const auto ItemPath = u"/StatusNotifierItem"_s;
const auto MenuPath = u"/MenuBar"_s;

/// Sides of the tile in device pixels, for all panels and scales in use. GNOME's are 16 points.
constexpr std::array TileSides{16, 20, 22, 24, 32, 44, 48};

/// Where Qt looks for the permission to raise a window.
constexpr auto ActivationToken = "XDG_ACTIVATION_TOKEN";

/// Each item has its own bus name: releasing it is how a desktop learns that the item is gone.
QString newItemName()
{
    static int number = 0;
    return u"org.kde.StatusNotifierItem-%1-%2"_s.arg(QCoreApplication::applicationPid()).arg(++number);
}

QDBusConnection bus()
{
    return QDBusConnection::sessionBus();
}

QString labelOf(const StatusItem::Description& description)
{
    return description.offline     ? QCoreApplication::translate("NotifierItem", "Offline")
           : description.loggedOut ? QCoreApplication::translate("NotifierItem", "Sign in")
                                   : description.hours;
}

QString toolTipText(const StatusItem::Description& description)
{
    return description.offline || description.loggedOut ? labelOf(description) : description.about.toHtmlEscaped();
}

bool showsRunning(const StatusItem::Description& description)
{
    return description.running && !description.offline && !description.loggedOut;
}

} // namespace

NotifierItem::NotifierItem(const ItemContent& content, bool showsLabel, std::function<void()> refused)
    : m_name(newItemName()), m_showsLabel(showsLabel), m_refused(std::move(refused)), m_standIn(content.standIn),
      m_toolTipTitle(content.toolTip), m_description(content.description),
      m_menu(std::make_unique<MenuExport>(*m_standIn.menu)),
      m_watcher(StatusNotifierWatcher, bus(), QDBusServiceWatcher::WatchForOwnerChange)
{
    qDBusRegisterMetaType<NotifierPixmap>();
    qDBusRegisterMetaType<QList<NotifierPixmap>>();
    qDBusRegisterMetaType<NotifierToolTip>();
    constexpr auto everything =
        QDBusConnection::ExportAllProperties | QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals;
    // Complete before anyone reads it.
    bus().registerObject(MenuPath, m_menu.get(), everything);
    bus().registerObject(ItemPath, this, everything);
    bus().registerService(m_name);
    connect(&m_watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString&, const QString&, const QString& owner) {
                m_drops = 0;
                if (!owner.isEmpty())
                    enroll();
            });
    bus().connect(StatusNotifierWatcher, StatusNotifierWatcherPath, StatusNotifierWatcher,
                  u"StatusNotifierItemUnregistered"_s, this, SLOT(dropped(QString)));
    enroll();
}

NotifierItem::~NotifierItem()
{
    bus().unregisterObject(ItemPath);
    bus().unregisterObject(MenuPath);
    bus().unregisterService(m_name);
}

void NotifierItem::enroll()
{
    QDBusMessage call = QDBusMessage::createMethodCall(StatusNotifierWatcher, StatusNotifierWatcherPath,
                                                       StatusNotifierWatcher, u"RegisterStatusNotifierItem"_s);
    call << m_name;
    call.setAutoStartService(false);
    whenAnswered(bus().asyncCall(call), this, [this](const QDBusPendingCall& answer) {
        if (answer.isError())
            m_refused();
    });
}

/// GNOME's extension loses one item in four of those that come while the shell starts, and says so.
void NotifierItem::dropped(const QString& item)
{
    constexpr int most = 5; // or it would go on for ever with a desktop that takes none
    if (item.startsWith(m_name) && m_drops++ < most)
        enroll();
}

void NotifierItem::setContent(const ItemContent& content)
{
    const QString titleBefore = std::exchange(m_toolTipTitle, content.toolTip);
    const StatusItem::Description before = std::exchange(m_description, content.description);
    if (before.loggedOut != m_description.loggedOut) {
        // Whether it is a menu has changed, and some hosts read that once: for them it is another item.
        bus().unregisterService(std::exchange(m_name, newItemName()));
        bus().registerService(m_name);
        m_drops = 0;
        enroll();
    }
    const bool relabelled = labelOf(before) != label();
    if (relabelled || showsRunning(before) != showsRunning(m_description)) {
        m_tiles.clear();
        emit NewIcon();
    }
    if (relabelled)
        emit XAyatanaNewLabel(label(), labelGuide());
    if (titleBefore != m_toolTipTitle || toolTipText(before) != toolTipText(m_description))
        emit NewToolTip();
}

NotifierToolTip NotifierItem::toolTip() const
{
    return {{}, {}, m_toolTipTitle, toolTipText(m_description)};
}

QDBusObjectPath NotifierItem::menuPath() const
{
    return QDBusObjectPath(MenuPath);
}

QString NotifierItem::label() const
{
    return labelOf(m_description);
}

QList<NotifierPixmap> NotifierItem::iconPixmap() const
{
    if (!m_tiles.isEmpty() || !m_standIn.tile)
        return m_tiles;
    for (const int side : TileSides) {
        const QImage tile = m_standIn.tile(m_description, side, !m_showsLabel).convertToFormat(QImage::Format_ARGB32);
        QByteArray pixels(tile.sizeInBytes(), Qt::Uninitialized);
        qToBigEndian<quint32>(tile.constBits(), tile.sizeInBytes() / 4, pixels.data());
        m_tiles << NotifierPixmap{tile.width(), tile.height(), pixels};
    }
    return m_tiles;
}

void NotifierItem::Activate(int x, int y)
{
    // Plasma calls this although the item is a menu. Only after an error does it show the menu, at the panel: on
    // Wayland ours would open as a window somewhere.
    if (itemIsMenu() && calledFromDBus() && isDesktop("KDE"_L1))
        sendErrorReply(QDBusError::UnknownMethod, u"this item has a menu only"_s);
    else
        ContextMenu(x, y);
}

void NotifierItem::ContextMenu(int /*x*/, int /*y*/)
{
    // The desktop gets its answer first.
    if (m_standIn.openMenu)
        QMetaObject::invokeMethod(this, m_standIn.openMenu, Qt::QueuedConnection);
}

void NotifierItem::SecondaryActivate(int /*x*/, int /*y*/)
{
    // No window opens.
    qunsetenv(ActivationToken);
    if (m_standIn.toggleTimer)
        QMetaObject::invokeMethod(this, m_standIn.toggleTimer, Qt::QueuedConnection);
}

void NotifierItem::Scroll(int /*delta*/, const QString& /*orientation*/) {}

void NotifierItem::ProvideXdgActivationToken(const QString& token)
{
    qputenv(ActivationToken, token.toUtf8());
}

void NotifierItem::popUpMenu(QMenu& menu)
{
    // The item's position is unknown; the pointer is on it.
    menu.popup(QCursor::pos());
}

QString NotifierItem::describe() const
{
    return u"status notifier item %1, drawn by the desktop"_s.arg(m_name);
}

} // namespace platform
