#include "NotificationAlerts.h"

#include "../SingleInstance.h"
#include "DBus.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusServiceWatcher>
#include <QGuiApplication>

#include <algorithm>
#include <utility>

namespace platform {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

const QString Service = u"org.freedesktop.Notifications"_s;
const QString Path = u"/org/freedesktop/Notifications"_s;

/// The desktop entry, and the icon.
const QString Entry = u"com.wrenfold.quillon"_s;

/// A press on the notification itself.
constexpr QLatin1StringView DefaultAction("default");

constexpr uchar Critical = 2;
constexpr int NeverExpires = 0;

// Whatever shows notifications may have to be started first.
constexpr int LongestWaitMs = 5000;

constexpr auto BetweenChanges = 60s;

/// Apart from the ids of message boxes, which count from one.
constexpr quint64 FirstId = quint64(1) << 32;

QDBusPendingCall call(const QString& method, const QVariantList& arguments = {})
{
    auto message = QDBusMessage::createMethodCall(Service, Path, Service, method);
    message.setArguments(arguments);
    return QDBusConnection::sessionBus().asyncCall(message, LongestWaitMs);
}

/// GNOME Shell before version 46 takes the buttons of a notification away when it is replaced.
bool losesButtons(const QVariantList& server)
{
    return server.value(0) == u"gnome-shell"_s && server.value(2).toString().section(u'.', 0, 0).toInt() < 46;
}

void close(uint number)
{
    // Where it fails the notification is gone.
    static_cast<void>(call(u"CloseNotification"_s, {number}));
}

} // namespace

NotificationAlerts::NotificationAlerts(TimeSource& time) : m_time(time), m_boxes(time) {}

NotificationAlerts::~NotificationAlerts()
{
    for (const Asked& asked : m_asked) {
        if (asked.number)
            close(asked.number);
    }
}

bool NotificationAlerts::available()
{
    return MessageBoxAlerts::available() && QGuiApplication::platformName().startsWith("wayland"_L1) && hasSessionBus();
}

AlertId NotificationAlerts::show(const Alert& alert, std::function<void(int)> done)
{
    if (!alert.unasked)
        return m_boxes.show(alert, std::move(done));
    listen();
    const AlertId id{FirstId + m_count++};
    m_asked.push_back({id, alert, std::move(done)});
    ask(m_asked.back());
    return id;
}

void NotificationAlerts::update(AlertId id, const Alert& alert)
{
    Asked* const asked = find(id);
    if (!asked) {
        m_boxes.update(id, alert);
        return;
    }
    if (asked->alert == alert)
        return;
    asked->alert = alert;
    if (asked->box)
        m_boxes.update(*asked->box, alert);
    else if (asked->number && !asked->minute)
        notify(*asked);
    else
        asked->changed = true;
}

void NotificationAlerts::dismiss(AlertId id)
{
    Asked* const asked = find(id);
    if (!asked) {
        m_boxes.dismiss(id);
        return;
    }
    if (asked->box)
        m_boxes.dismiss(*asked->box);
    else if (asked->number)
        close(asked->number);
    m_asked.remove_if([id](const Asked& each) { return each.id == id; });
}

NotificationAlerts::Asked* NotificationAlerts::find(AlertId id)
{
    const auto found = std::ranges::find(m_asked, id, &Asked::id);
    return found == m_asked.end() ? nullptr : &*found;
}

NotificationAlerts::Asked* NotificationAlerts::find(uint number)
{
    const auto found = number ? std::ranges::find(m_asked, number, &Asked::number) : m_asked.end();
    return found == m_asked.end() ? nullptr : &*found;
}

void NotificationAlerts::listen()
{
    if (m_watcher)
        return;
    QDBusConnection bus = QDBusConnection::sessionBus();
    m_watcher = new QDBusServiceWatcher(Service, bus, QDBusServiceWatcher::WatchForUnregistration, this);
    connect(m_watcher, &QDBusServiceWatcher::serviceUnregistered, this, &NotificationAlerts::askAgain);
    bus.connect(Service, Path, Service, u"ActionInvoked"_s, this, SLOT(actionInvoked(uint, QString)));
    bus.connect(Service, Path, Service, u"ActivationToken"_s, this, SLOT(activationToken(uint, QString)));
    bus.connect(Service, Path, Service, u"NotificationClosed"_s, this, SLOT(notificationClosed(uint, uint)));
}

void NotificationAlerts::ask(Asked& asked)
{
    whenAnswered(call(u"GetServerInformation"_s), this, [this](const QDBusPendingCall& answered) {
        m_losesButtons = losesButtons(answered.reply().arguments());
    });
    whenAnswered(call(u"GetCapabilities"_s), this, [this, id = asked.id](const QDBusPendingCall& answered) {
        Asked* const waiting = find(id);
        if (!waiting)
            return;
        const QDBusReply<QStringList> capabilities = answered.reply();
        if (capabilities.value().contains("actions"_L1))
            notify(*waiting);
        else
            showBox(*waiting);
    });
}

void NotificationAlerts::notify(Asked& asked)
{
    QStringList actions{DefaultAction, tr("Open Quillon")};
    for (qsizetype i = 0; i < asked.alert.buttons.size(); ++i)
        actions << QString::number(i) << asked.alert.buttons[i];
    const QVariantMap hints{
        {u"urgency"_s, QVariant::fromValue(Critical)}, {u"suppress-sound"_s, true}, {u"desktop-entry"_s, Entry}};
    if (m_losesButtons && asked.number)
        close(std::exchange(asked.number, 0));
    asked.changed = false;
    asked.minute = m_time.repeat(BetweenChanges, [this, id = asked.id] {
        Asked& due = *find(id);
        due.minute.reset();
        if (due.changed && due.number)
            notify(due);
    });
    // The title is plain text, the body is markup.
    const QDBusPendingCall call =
        platform::call(u"Notify"_s, {u"Quillon"_s, asked.number, Entry, asked.alert.title,
                                     asked.alert.text.toHtmlEscaped(), actions, hints, NeverExpires});
    whenAnswered(call, this, [this, id = asked.id, losses = asked.losses](const QDBusPendingCall& answered) {
        const QDBusReply<uint> number = answered.reply();
        Asked* const waiting = find(id);
        if (!waiting || waiting->losses != losses) {
            if (number.isValid())
                close(number.value());
        } else if (number.isValid()) {
            waiting->number = number.value();
        } else if (!waiting->number) {
            showBox(*waiting);
        }
    });
}

void NotificationAlerts::showBox(Asked& asked)
{
    asked.minute.reset();
    asked.box = m_boxes.show(asked.alert, [this, id = asked.id](int button) {
        if (const Asked* answered = find(id))
            end(*answered, button);
    });
}

/// What showed them is gone. Nobody has put them away, so its successor shows them; one that goes as well was perhaps
/// brought down by them.
void NotificationAlerts::askAgain()
{
    for (Asked& asked : m_asked) {
        if (!std::exchange(asked.number, 0))
            continue;
        asked.minute.reset();
        if (asked.losses++ > 0)
            showBox(asked);
        else
            ask(asked);
    }
}

void NotificationAlerts::end(const Asked& asked, int button)
{
    std::list<Asked> ended;
    ended.splice(ended.begin(), m_asked, std::ranges::find(m_asked, asked.id, &Asked::id));
    if (const auto& done = ended.front().done)
        done(button);
}

void NotificationAlerts::actionInvoked(uint number, const QString& action)
{
    const Asked* const asked = find(number);
    if (!asked)
        return;
    bool isButton = false;
    const int button = action.toInt(&isButton);
    if (isButton && button >= 0 && button < asked->alert.buttons.size()) {
        close(number); // most desktops do so themselves
        end(*asked, button);
    } else if (action == DefaultAction) {
        close(number);
        end(*asked, Opened);
    }
}

void NotificationAlerts::activationToken(uint number, const QString& token)
{
    // Announced before the action, whose answer may bring up a window.
    if (find(number))
        qputenv("XDG_ACTIVATION_TOKEN", token.toUtf8());
}

void NotificationAlerts::notificationClosed(uint number, uint /*reason*/)
{
    if (const Asked* asked = find(number))
        end(*asked, Dismissed);
}

} // namespace platform
