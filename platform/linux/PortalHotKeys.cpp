#include "PortalHotKeys.h"

#include "../Run.h"
#include "DBus.h"

#include <QCoreApplication>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusServiceWatcher>
#include <QGuiApplication>
#include <QKeySequence>
#include <QRegularExpression>

#include <algorithm>

namespace platform {

using namespace Qt::StringLiterals;

namespace {

const auto Connection = u"quillon-hot-keys"_s;
const auto Portal = u"org.freedesktop.portal.Desktop"_s;
const auto Path = u"/org/freedesktop/portal/desktop"_s;
const auto Shortcuts = u"org.freedesktop.portal.GlobalShortcuts"_s;
const auto RequestInterface = u"org.freedesktop.portal.Request"_s;
const auto SessionInterface = u"org.freedesktop.portal.Session"_s;
const auto RegistryInterface = u"org.freedesktop.host.portal.Registry"_s;
/// The same at each start: Plasma keeps the keys under it, and shows it.
const auto SessionToken = u"Quillon"_s;

/// Keys whose names are not letters or digits (X11/keysymdef.h, without the prefix).
constexpr std::pair<Qt::Key, QLatin1StringView> Names[] = {
    {Qt::Key_Space, "space"_L1},
    {Qt::Key_Apostrophe, "apostrophe"_L1},
    {Qt::Key_Comma, "comma"_L1},
    {Qt::Key_Minus, "minus"_L1},
    {Qt::Key_Period, "period"_L1},
    {Qt::Key_Slash, "slash"_L1},
    {Qt::Key_Semicolon, "semicolon"_L1},
    {Qt::Key_Equal, "equal"_L1},
    {Qt::Key_BracketLeft, "bracketleft"_L1},
    {Qt::Key_Backslash, "backslash"_L1},
    {Qt::Key_BracketRight, "bracketright"_L1},
    {Qt::Key_QuoteLeft, "grave"_L1},
    {Qt::Key_Return, "Return"_L1},
    {Qt::Key_Tab, "Tab"_L1},
    {Qt::Key_Backspace, "BackSpace"_L1},
    {Qt::Key_Escape, "Escape"_L1},
    {Qt::Key_Delete, "Delete"_L1},
    {Qt::Key_Home, "Home"_L1},
    {Qt::Key_End, "End"_L1},
    {Qt::Key_PageUp, "Page_Up"_L1},
    {Qt::Key_PageDown, "Page_Down"_L1},
    {Qt::Key_Left, "Left"_L1},
    {Qt::Key_Right, "Right"_L1},
    {Qt::Key_Up, "Up"_L1},
    {Qt::Key_Down, "Down"_L1},
};

QString keyName(Qt::Key key)
{
    if ((key >= Qt::Key_A && key <= Qt::Key_Z) || (key >= Qt::Key_0 && key <= Qt::Key_9))
        return QString(QChar(key)).toLower();
    if (key >= Qt::Key_F1 && key <= Qt::Key_F35)
        return u'F' + QString::number(key - Qt::Key_F1 + 1);
    const auto* found = std::ranges::find(Names, key, [](const auto& entry) { return entry.first; });
    return found != std::end(Names) ? QString(found->second) : QString();
}

/// GNOME describes keys in its own notation, as in "Press <Control><Alt>n".
QString readable(const QString& trigger)
{
    static const QRegularExpression accelerator(u"((?:<\\w+>)+)(\\w+)$"_s);
    const QRegularExpressionMatch match = accelerator.match(trigger);
    if (!match.hasMatch())
        return trigger;
    QString modifiers = match.captured(1);
    modifiers.replace("<Control>"_L1, "<Ctrl>"_L1).replace("<Super>"_L1, "<Meta>"_L1);
    const QString key = match.captured(2);
    const auto* found = std::ranges::find(Names, key, [](const auto& entry) { return entry.second; });
    const QString name = found != std::end(Names) ? QKeySequence(found->first).toString() : key;
    return QKeySequence(modifiers.remove(u'<').replace(u'>', u'+') + name).toString(QKeySequence::NativeText);
}

} // namespace

bool PortalHotKeys::available()
{
    return (QGuiApplication::platformName().startsWith("wayland"_L1) ||
            !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") || qgetenv("XDG_SESSION_TYPE") == "wayland") &&
           QDBusConnection::sessionBus().isConnected();
}

// A connection of its own: the portal learns a program's id from the first call on a connection, and Qt may have spoken
// to it on the shared one.
PortalHotKeys::PortalHotKeys() : m_bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, Connection))
{
    qDBusRegisterMetaType<Shortcut>();
    qDBusRegisterMetaType<QList<Shortcut>>();
    const auto listen = [this](const QString& interface, const QString& signal, const char* slot) {
        // An empty path matches all.
        [[maybe_unused]] const bool listens = m_bus.connect(Portal, QString(), interface, signal, this, slot);
        Q_ASSERT(listens || !m_bus.isConnected());
    };
    listen(RequestInterface, u"Response"_s, SLOT(responded(QDBusMessage)));
    listen(Shortcuts, u"Activated"_s, SLOT(activated(QDBusMessage)));
    listen(Shortcuts, u"ShortcutsChanged"_s, SLOT(shortcutsChanged(QDBusMessage)));
    listen(SessionInterface, u"Closed"_s, SLOT(sessionClosed(QDBusMessage)));
    auto* watcher = new QDBusServiceWatcher(Portal, m_bus, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(watcher, &QDBusServiceWatcher::serviceUnregistered, this, &PortalHotKeys::portalLost);
    connect(watcher, &QDBusServiceWatcher::serviceRegistered, this, &PortalHotKeys::portalCame);
}

PortalHotKeys::~PortalHotKeys()
{
    QDBusConnection::disconnectFromBus(Connection);
}

void PortalHotKeys::setPaused(bool paused)
{
    m_paused = paused;
}

void PortalHotKeys::setMayAsk(bool may)
{
    m_mayAsk = may;
    if (may && m_phase == Phase::Listed)
        bindMissing();
}

QString PortalHotKeys::trigger(QKeyCombination keys)
{
    const QString key = keyName(keys.key());
    if (key.isEmpty())
        return {};
    const Qt::KeyboardModifiers modifiers = keys.keyboardModifiers();
    QString text;
    if (modifiers & Qt::ControlModifier)
        text += "CTRL+"_L1;
    if (modifiers & Qt::AltModifier)
        text += "ALT+"_L1;
    if (modifiers & Qt::ShiftModifier)
        text += "SHIFT+"_L1;
    if (modifiers & Qt::MetaModifier)
        text += "LOGO+"_L1;
    return text + key;
}

/// Once, however many changes there were: freeing a key and registering it again is no change.
void PortalHotKeys::keysChanged()
{
    if (std::exchange(m_updatePosted, true))
        return;
    Run::current().postToMain([this] {
        m_updatePosted = false;
        // A session that is still being created looks for itself.
        if (m_keys != m_asked && m_phase != Phase::Creating)
            bindAgain();
    });
}

void PortalHotKeys::bindAgain()
{
    m_request.clear();
    const QString session = std::exchange(m_session, {});
    if (session.isEmpty()) {
        begin();
        return;
    }
    settle(Phase::Creating);
    // The next one has the same name.
    whenAnswered(m_bus.asyncCall(QDBusMessage::createMethodCall(Portal, session, SessionInterface, u"Close"_s)), this,
                 [this](const QDBusPendingCall&) {
                     if (m_phase == Phase::Creating && m_request.isEmpty())
                         begin();
                 });
}

void PortalHotKeys::begin()
{
    if (m_keys.empty())
        settle(Phase::Idle);
    else
        createSession();
}

void PortalHotKeys::createSession()
{
    settle(Phase::Creating);
    // Newer portals accept an unsandboxed program's own statement of its id. Older ones lack the method, which does no
    // harm.
    QDBusMessage call = QDBusMessage::createMethodCall(Portal, Path, RegistryInterface, u"Register"_s);
    call << QGuiApplication::desktopFileName() << QVariantMap();
    m_bus.asyncCall(call);
    m_asked = m_keys;
    m_granted.clear();
    // Plasma's portal takes the keys from here, unlike others.
    request(u"CreateSession"_s, {},
            {{u"session_handle_token"_s, SessionToken}, {u"shortcuts"_s, QVariant::fromValue(shortcuts())}});
}

void PortalHotKeys::listShortcuts()
{
    settle(Phase::Listing);
    request(u"ListShortcuts"_s, {QVariant::fromValue(QDBusObjectPath(m_session))}, {});
}

void PortalHotKeys::takeListed(const QVariant& listed)
{
    std::set<QString> known;
    for (const auto& [name, about] : qdbus_cast<QList<Shortcut>>(listed))
        known.insert(name);
    m_missing = shortcuts();
    m_missing.removeIf([&known](const Shortcut& shortcut) { return known.contains(shortcut.first); });
    take(listed);
    if (m_missing.isEmpty())
        settle(Phase::Bound);
    else if (m_mayAsk)
        bindMissing();
    else
        settle(Phase::Listed);
}

void PortalHotKeys::bindMissing()
{
    settle(Phase::Binding);
    request(u"BindShortcuts"_s,
            {QVariant::fromValue(QDBusObjectPath(m_session)), QVariant::fromValue(m_missing), QString()}, {});
}

QList<PortalHotKeys::Shortcut> PortalHotKeys::shortcuts() const
{
    QList<Shortcut> wanted;
    for (const auto& [id, key] : m_asked) {
        QVariantMap about{{u"description"_s, key.description}};
        if (const QString wish = trigger(key.keys); !wish.isEmpty())
            about.insert(u"preferred_trigger"_s, wish);
        wanted << Shortcut(key.name, about);
    }
    return wanted;
}

void PortalHotKeys::request(const QString& method, const QVariantList& arguments, QVariantMap options)
{
    const QString token = u"quillon%1"_s.arg(m_tokens++);
    // Computed beforehand, as the answer may come before the reply.
    const QString path = Path + "/request/"_L1 + m_bus.baseService().mid(1).replace(u'.', u'_') + u'/' + token;
    m_request = path;
    options.insert(u"handle_token"_s, token);
    QDBusMessage call = QDBusMessage::createMethodCall(Portal, Path, Shortcuts, method);
    call.setArguments(arguments + QVariantList{options});
    whenAnswered(m_bus.asyncCall(call), this, [this, path](const QDBusPendingCall& answer) {
        if (!answer.isError() || m_request != path)
            return;
        if (m_phase == Phase::Listing)
            takeListed({}); // there are desktops that cannot list
        else
            settle(Phase::Failed);
    });
}

void PortalHotKeys::responded(const QDBusMessage& message)
{
    if (message.path() != m_request || message.arguments().size() < 2)
        return;
    m_request.clear();
    const bool granted = message.arguments().at(0).toUInt() == 0;
    const QVariantMap results = qdbus_cast<QVariantMap>(message.arguments().at(1));
    if (m_phase == Phase::Creating) {
        const QVariant handle = results.value(u"session_handle"_s);
        m_session = handle.canConvert<QDBusObjectPath>() ? handle.value<QDBusObjectPath>().path() : handle.toString();
        if (!granted || m_session.isEmpty()) {
            settle(Phase::Failed);
        } else if (m_keys != m_asked) {
            bindAgain(); // they have changed since
        } else {
            listShortcuts();
        }
    } else if (m_phase == Phase::Listing) {
        takeListed(granted ? results.value(u"shortcuts"_s) : QVariant());
    } else if (m_phase == Phase::Binding) {
        // Whatever the response: GNOME 48 calls a grant a failure, and a refusal names no shortcuts.
        take(results.value(u"shortcuts"_s));
        settle(Phase::Bound);
    }
}

/// The others are as before: the desktop may name only those that are new or have changed.
void PortalHotKeys::take(const QVariant& shortcuts)
{
    const auto described = u"trigger_description"_s;
    for (const auto& [name, about] : qdbus_cast<QList<Shortcut>>(shortcuts)) {
        // One without keys is known to the desktop but never fires.
        if (!about.contains(described) || !about.value(described).toString().isEmpty())
            m_granted[name] = readable(about.value(described).toString());
        else
            m_granted.erase(name);
    }
}

void PortalHotKeys::activated(const QDBusMessage& message)
{
    const QVariantList arguments = message.arguments();
    if (m_paused || !m_pressed || arguments.size() < 4 || arguments.at(0).value<QDBusObjectPath>().path() != m_session)
        return;
    const auto found = std::ranges::find_if(
        m_asked, [&](const auto& entry) { return entry.second.name == arguments.at(1).toString(); });
    if (found == m_asked.end())
        return;
    // Where Qt looks for the permission to raise a window.
    const QString token = qdbus_cast<QVariantMap>(arguments.at(3)).value(u"activation_token"_s).toString();
    if (!token.isEmpty())
        qputenv("XDG_ACTIVATION_TOKEN", token.toUtf8());
    m_pressed(found->first);
}

void PortalHotKeys::shortcutsChanged(const QDBusMessage& message)
{
    const QVariantList arguments = message.arguments();
    if (!isAnswered() || arguments.size() != 2 || arguments.at(0).value<QDBusObjectPath>().path() != m_session)
        return;
    take(arguments.at(1));
    settle(m_phase);
}

void PortalHotKeys::sessionClosed(const QDBusMessage& message)
{
    if (m_session.isEmpty() || message.path() != m_session)
        return;
    // The desktop closed it. The next change, the next portal or the next start asks again.
    m_session.clear();
    settle(Phase::Failed);
}

void PortalHotKeys::portalLost()
{
    m_request.clear();
    m_session.clear();
    // Requesting a session starts the portal again. One that left without an answer is not called again: it would leave
    // each time.
    if (isAnswered() || m_keys.empty())
        begin();
    else if (m_phase != Phase::Idle)
        settle(Phase::Failed);
}

void PortalHotKeys::portalCame()
{
    if (m_phase == Phase::Failed)
        begin();
}

void PortalHotKeys::settle(Phase phase)
{
    m_phase = phase;
    if (phase == Phase::Failed || phase == Phase::Idle) {
        m_request.clear();
        m_asked.clear(); // so that the next change asks, whatever it is
    }
    if (m_statusChanged)
        m_statusChanged();
}

HotKeys::Status PortalHotKeys::statusOf(int id) const
{
    if (m_phase == Phase::Failed)
        return {State::Unavailable, {}};
    const HotKey& key = m_keys.at(id);
    const auto asked = m_asked.find(id);
    if (!isAnswered() || asked == m_asked.end() || asked->second != key)
        return {State::Pending, {}};
    const auto granted = m_granted.find(key.name);
    if (granted != m_granted.end())
        return {State::Registered, granted->second};
    return {m_phase == Phase::Listed ? State::Pending : State::Denied, {}};
}

} // namespace platform
