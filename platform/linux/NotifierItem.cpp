#include "NotifierItem.h"

#include "../SingleInstance.h"
#include "MenuExport.h"

#include <QCoreApplication>
#include <QCursor>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusReply>
#include <QDBusServiceWatcher>
#include <QMenu>
#include <QtEndian>

#include <array>
#include <optional>

namespace platform {

using namespace Qt::StringLiterals;

namespace {

const auto kWatcher = u"org.kde.StatusNotifierWatcher"_s;
const auto kWatcherPath = u"/StatusNotifierWatcher"_s;
const auto kItemPath = u"/StatusNotifierItem"_s;
const auto kMenuPath = u"/MenuBar"_s;
const auto kProperties = u"org.freedesktop.DBus.Properties"_s;

/// Sides of the tile in device pixels, for the panels and scales that there are.
constexpr std::array kTileSides{22, 24, 32, 44, 48};

constexpr double kThickness = 22;

/// Each item has a name of its own: giving it up is how a desktop learns that it is gone.
QString newItemName()
{
    static int number = 0;
    return u"org.kde.StatusNotifierItem-%1-%2"_s.arg(QCoreApplication::applicationPid()).arg(++number);
}

QDBusConnection bus()
{
    return QDBusConnection::sessionBus();
}

} // namespace

// The structures of org.kde.StatusNotifierItem.

struct NotifierPixmap
{
    int width = 0;
    int height = 0;
    QByteArray pixels; ///< ARGB of 32 bits, the highest byte first
};

struct NotifierToolTip
{
    QString iconName;
    QList<NotifierPixmap> icon;
    QString title;
    QString text; ///< with markup
};

QDBusArgument& operator<<(QDBusArgument& out, const NotifierPixmap& pixmap)
{
    out.beginStructure();
    out << pixmap.width << pixmap.height << pixmap.pixels;
    out.endStructure();
    return out;
}

const QDBusArgument& operator>>(const QDBusArgument& in, NotifierPixmap& pixmap)
{
    in.beginStructure();
    in >> pixmap.width >> pixmap.height >> pixmap.pixels;
    in.endStructure();
    return in;
}

QDBusArgument& operator<<(QDBusArgument& out, const NotifierToolTip& toolTip)
{
    out.beginStructure();
    out << toolTip.iconName << toolTip.icon << toolTip.title << toolTip.text;
    out.endStructure();
    return out;
}

const QDBusArgument& operator>>(const QDBusArgument& in, NotifierToolTip& toolTip)
{
    in.beginStructure();
    in >> toolTip.iconName >> toolTip.icon >> toolTip.title >> toolTip.text;
    in.endStructure();
    return in;
}

namespace {

QDBusMessage questionForHost()
{
    QDBusMessage call = QDBusMessage::createMethodCall(kWatcher, kWatcherPath, kProperties, u"Get"_s);
    call << kWatcher << u"IsStatusNotifierHostRegistered"_s;
    // The watcher belongs to a panel that runs, or to none: nothing is started for it.
    call.setAutoStartService(false);
    return call;
}

bool tellsOfHost(const QDBusReply<QDBusVariant>& reply)
{
    // A watcher that does not know the property shows items all the same.
    const QDBusError::ErrorType error = reply.error().type();
    const bool unknown = error == QDBusError::UnknownProperty || error == QDBusError::UnknownInterface ||
                         error == QDBusError::UnknownMethod || error == QDBusError::InvalidArgs;
    return reply.isValid() ? reply.value().variant().toBool() : unknown;
}

} // namespace

class NotifierHost::Watch final : public QObject
{
    Q_OBJECT
public:
    explicit Watch(std::function<void()> changed) : m_changed(std::move(changed)) {}

    void begin();
    bool isThere() const { return m_isThere; }

private slots:
    void ask();

private:
    void setThere(bool there);

    std::function<void()> m_changed;
    std::unique_ptr<QDBusServiceWatcher> m_service;
    int m_question = 0; ///< only the answer to the last one counts
    bool m_isThere = false;
};

void NotifierHost::Watch::begin()
{
    if (m_service || !bus().isConnected())
        return;
    m_service = std::make_unique<QDBusServiceWatcher>(kWatcher, bus(), QDBusServiceWatcher::WatchForOwnerChange);
    connect(m_service.get(), &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString&, const QString&, const QString& owner) {
                if (!owner.isEmpty()) {
                    ask();
                    return;
                }
                ++m_question;
                setThere(false);
            });
    for (const QString& signal : {u"StatusNotifierHostRegistered"_s, u"StatusNotifierHostUnregistered"_s})
        bus().connect(kWatcher, kWatcherPath, kWatcher, signal, this, SLOT(ask()));
    ask();
}

void NotifierHost::Watch::ask()
{
    const int question = ++m_question;
    auto* answer = new QDBusPendingCallWatcher(bus().asyncCall(questionForHost()), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer, question] {
        answer->deleteLater();
        if (question == m_question)
            setThere(tellsOfHost(answer->reply()));
    });
}

void NotifierHost::Watch::setThere(bool there)
{
    if (std::exchange(m_isThere, there) != there)
        m_changed();
}

NotifierHost::NotifierHost(std::function<void()> changed) : m_watch(std::make_unique<Watch>(std::move(changed))) {}

NotifierHost::~NotifierHost() = default;

void NotifierHost::begin()
{
    m_watch->begin();
}

bool NotifierHost::isThereNow()
{
    constexpr int patienceMilliseconds = 500;
    return hasSessionBus() && bus().isConnected() &&
           tellsOfHost(bus().call(questionForHost(), QDBus::Block, patienceMilliseconds));
}

bool NotifierHost::isThere() const
{
    return m_watch->isThere();
}

/// What stands on the bus.
class NotifierItem::Object final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierItem")
    Q_PROPERTY(QString Category READ category)
    Q_PROPERTY(QString Id READ id)
    Q_PROPERTY(QString Title READ title)
    Q_PROPERTY(QString Status READ status)
    Q_PROPERTY(int WindowId READ windowId)
    Q_PROPERTY(QString IconThemePath READ none)
    Q_PROPERTY(QString IconName READ none)
    Q_PROPERTY(QList<platform::NotifierPixmap> IconPixmap READ iconPixmap)
    Q_PROPERTY(QString IconAccessibleDesc READ spoken)
    Q_PROPERTY(QString OverlayIconName READ none)
    Q_PROPERTY(QString AttentionIconName READ none)
    Q_PROPERTY(platform::NotifierToolTip ToolTip READ toolTip)
    Q_PROPERTY(bool ItemIsMenu READ itemIsMenu)
    Q_PROPERTY(QDBusObjectPath Menu READ menuPath)
    Q_PROPERTY(QString XAyatanaLabel READ label)
    Q_PROPERTY(QString XAyatanaLabelGuide READ labelGuide)

public:
    explicit Object(std::function<void()> refused);
    ~Object() override;

    void setToolTipTitle(const QString& text);
    void setDescription(const Description& description);
    void setStandIn(StandIn standIn);
    QString name() const { return m_name; }

    QString category() const { return u"ApplicationStatus"_s; }
    QString id() const { return u"quillon"_s; }
    QString title() const { return u"Quillon"_s; }
    QString status() const { return u"Active"_s; }
    int windowId() const { return 0; }
    QString none() const { return {}; }
    QList<NotifierPixmap> iconPixmap() const;
    QString spoken() const { return m_description.spoken; }
    NotifierToolTip toolTip() const { return {{}, {}, m_toolTipTitle, toolTipText(m_description)}; }
    /// Signed out, a press is answered by the program.
    bool itemIsMenu() const { return !m_description.loggedOut; }
    QDBusObjectPath menuPath() const { return QDBusObjectPath(kMenuPath); }
    QString label() const { return labelOf(m_description); }
    QString labelGuide() const { return u"00:00"_s; }

public slots:
    // Places that desktops tell are not those of the pointer, so they are not used.
    void Activate(int x, int y);
    void ContextMenu(int x, int y);
    void SecondaryActivate(int x, int y);
    void Scroll(int delta, const QString& orientation);

signals:
    void NewIcon();
    void NewToolTip();
    void XAyatanaNewLabel(const QString& label, const QString& guide);

private:
    static QString labelOf(const Description& description);
    static QString toolTipText(const Description& description);
    void enroll();

    const QString m_name = newItemName();
    std::function<void()> m_refused;
    QString m_toolTipTitle;
    Description m_description;
    StandIn m_standIn;
    std::unique_ptr<MenuExport> m_menu;
    std::unique_ptr<QDBusServiceWatcher> m_watcher;
    mutable QList<NotifierPixmap> m_tiles; ///< of the present description; painted when somebody asks
};

NotifierItem::Object::Object(std::function<void()> refused) : m_refused(std::move(refused))
{
    qDBusRegisterMetaType<NotifierPixmap>();
    qDBusRegisterMetaType<QList<NotifierPixmap>>();
    qDBusRegisterMetaType<NotifierToolTip>();
}

NotifierItem::Object::~Object()
{
    if (!m_watcher)
        return;
    bus().unregisterObject(kItemPath);
    bus().unregisterObject(kMenuPath);
    bus().unregisterService(m_name);
}

void NotifierItem::Object::setStandIn(StandIn standIn)
{
    m_standIn = std::move(standIn);
    m_tiles.clear();
    bus().unregisterObject(kMenuPath);
    m_menu.reset();
    if (!m_standIn.menu)
        return;
    m_menu = std::make_unique<MenuExport>(*m_standIn.menu);
    constexpr auto kAll =
        QDBusConnection::ExportAllProperties | QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals;
    bus().registerObject(kMenuPath, m_menu.get(), kAll);
    if (m_watcher)
        return;
    // Complete before anybody looks at it.
    bus().registerObject(kItemPath, this, kAll);
    bus().registerService(m_name);
    m_watcher = std::make_unique<QDBusServiceWatcher>(kWatcher, bus(), QDBusServiceWatcher::WatchForOwnerChange);
    connect(m_watcher.get(), &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString&, const QString&, const QString& owner) {
                if (!owner.isEmpty())
                    enroll();
            });
    enroll();
}

void NotifierItem::Object::enroll()
{
    QDBusMessage call =
        QDBusMessage::createMethodCall(kWatcher, kWatcherPath, kWatcher, u"RegisterStatusNotifierItem"_s);
    call << m_name;
    call.setAutoStartService(false);
    auto* answer = new QDBusPendingCallWatcher(bus().asyncCall(call), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer] {
        answer->deleteLater();
        if (answer->isError())
            m_refused();
    });
}

QString NotifierItem::Object::labelOf(const Description& description)
{
    return description.offline ? u"Offline"_s : description.loggedOut ? u"Sign in"_s : description.hours;
}

QString NotifierItem::Object::toolTipText(const Description& description)
{
    return description.offline || description.loggedOut ? labelOf(description) : description.about.toHtmlEscaped();
}

void NotifierItem::Object::setToolTipTitle(const QString& text)
{
    if (std::exchange(m_toolTipTitle, text) != text)
        emit NewToolTip();
}

void NotifierItem::Object::setDescription(const Description& description)
{
    const Description before = std::exchange(m_description, description);
    if (before.loggedOut != description.loggedOut) {
        // The protocol has no signal of its own for it. Hosts that look at none read it with the next tile.
        QDBusMessage signal = QDBusMessage::createSignal(kItemPath, kProperties, u"PropertiesChanged"_s);
        signal << u"org.kde.StatusNotifierItem"_s << QVariantMap{{u"ItemIsMenu"_s, itemIsMenu()}} << QStringList();
        bus().send(signal);
    }
    const auto face = [](const Description& told) {
        return std::tuple(labelOf(told), told.running && !told.offline && !told.loggedOut);
    };
    if (face(before) != face(description)) {
        m_tiles.clear();
        emit NewIcon();
    }
    if (labelOf(before) != labelOf(description))
        emit XAyatanaNewLabel(label(), labelGuide());
    if (toolTipText(before) != toolTipText(description))
        emit NewToolTip();
}

QList<NotifierPixmap> NotifierItem::Object::iconPixmap() const
{
    if (!m_tiles.isEmpty() || !m_standIn.tile)
        return m_tiles;
    for (const int side : kTileSides) {
        const QImage tile = m_standIn.tile(m_description, side).convertToFormat(QImage::Format_ARGB32);
        QByteArray pixels(tile.sizeInBytes(), Qt::Uninitialized);
        qToBigEndian<quint32>(tile.constBits(), tile.sizeInBytes() / 4, pixels.data());
        m_tiles << NotifierPixmap{tile.width(), tile.height(), pixels};
    }
    return m_tiles;
}

void NotifierItem::Object::Activate(int /*x*/, int /*y*/)
{
    // The desktop gets its answer first.
    if (m_standIn.openMenu)
        QMetaObject::invokeMethod(this, m_standIn.openMenu, Qt::QueuedConnection);
}

void NotifierItem::Object::ContextMenu(int x, int y)
{
    Activate(x, y);
}

void NotifierItem::Object::SecondaryActivate(int /*x*/, int /*y*/)
{
    if (m_standIn.toggleTimer)
        QMetaObject::invokeMethod(this, m_standIn.toggleTimer, Qt::QueuedConnection);
}

void NotifierItem::Object::Scroll(int /*delta*/, const QString& /*orientation*/) {}

NotifierItem::NotifierItem(std::function<void()> refused) : m_object(std::make_unique<Object>(std::move(refused))) {}

NotifierItem::~NotifierItem() = default;

double NotifierItem::thickness() const
{
    return kThickness;
}

void NotifierItem::setToolTip(const QString& text)
{
    m_object->setToolTipTitle(text);
}

void NotifierItem::setDescription(const Description& description)
{
    m_object->setDescription(description);
}

void NotifierItem::setStandIn(StandIn standIn)
{
    m_object->setStandIn(std::move(standIn));
}

void NotifierItem::popUpMenu(QMenu& menu)
{
    // Nobody tells where the item is; the pointer is on it.
    menu.popup(QCursor::pos());
}

QString NotifierItem::describe() const
{
    return u"status notifier item %1, drawn by the desktop"_s.arg(m_object->name());
}

} // namespace platform

#include "NotifierItem.moc"
