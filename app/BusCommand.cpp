#include "app/BusCommand.h"

#include "app/BusInterface.h"
#include "app/Complaint.h"
#include "app/Text.h"
#include "platform/SingleInstance.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusServiceWatcher>
#include <QSocketNotifier>

#include <algorithm>
#include <cstdio>

#include <sys/stat.h>
#include <unistd.h>

namespace app {

using namespace Qt::StringLiterals;

namespace {

constexpr int ExitFailed = 1;
constexpr int PatienceMilliseconds = 2000;
/// For actions that need the service, which has 20 s to answer.
constexpr int ServicePatienceMilliseconds = 30'000;

struct Named
{
    QLatin1StringView command;
    QLatin1StringView action; ///< empty: requests the status
};

constexpr Named Commands[] = {{"status"_L1, {}},          {"toggle"_L1, "toggle"_L1},
                              {"new"_L1, "new-timer"_L1}, {"timesheet"_L1, "timesheet"_L1},
                              {"quit"_L1, "quit"_L1},     {"preferences"_L1, "preferences"_L1}};

const Named* find(const QString& command)
{
    const auto* found = std::ranges::find(Commands, command, &Named::command);
    return found == std::end(Commands) ? nullptr : found;
}

int failed(const QString& reason)
{
    complain(reason);
    return ExitFailed;
}

QDBusMessage statusCall()
{
    return callToProgram(PropertiesInterface, u"GetAll"_s) << QString(QuillonInterface);
}

QString reasonOf(const QDBusMessage& error)
{
    const QString name = error.errorName();
    if (name.startsWith(QuillonInterface))
        return error.errorMessage();
    if (meansNotRunning(error))
        return tr("the program is not running");
    if (name != "org.freedesktop.DBus.Error.NoReply"_L1 && name != "org.freedesktop.DBus.Error.Timeout"_L1)
        return tr("the running program does not understand this (%1)").arg(error.errorMessage());
    // It has the call, and may come back to it; the bus reports the same of one that is gone.
    return QDBusConnection::sessionBus().interface()->isServiceRegistered(platform::BusName)
               ? tr("the running program does not answer, and may still do it")
               : tr("the program quit before it answered");
}

/// The properties in a reply. Empty: the program is not running.
QVariantMap propertiesOf(const QDBusMessage& reply)
{
    if (reply.type() == QDBusMessage::ReplyMessage)
        return qdbus_cast<QVariantMap>(reply.arguments().value(0));
    // Its name appears before the interface, which comes with the first window.
    if (reply.errorName() == "org.freedesktop.DBus.Error.UnknownInterface"_L1)
        return {{u"State"_s, u"starting"_s}, {u"Hours"_s, u"-:--"_s}};
    return {};
}

QByteArray line(const BusCommand& command, const QVariantMap& properties)
{
    // Some bars ignore an empty line, and go on showing the hours of a program that is gone.
    if (properties.isEmpty() && !command.json)
        return " \n";
    return (command.json ? command.text.json(properties) : command.text.line(properties).toLocal8Bit()) + '\n';
}

bool print(const QByteArray& line)
{
    return std::fputs(line.constData(), stdout) >= 0 && std::fflush(stdout) == 0;
}

/// Prints a line whenever the status line changes.
class Follower final : public QObject
{
    Q_OBJECT
public:
    Follower(const BusCommand& command, QDBusConnection bus)
        : m_command(command), m_bus(std::move(bus)),
          m_watcher(platform::BusName, m_bus, QDBusServiceWatcher::WatchForOwnerChange)
    {
        connect(&m_watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
                [this](const QString&, const QString&, const QString& owner) {
                    ++m_asked; // pending replies are from the previous program
                    if (owner.isEmpty())
                        show({});
                    else
                        ask();
                });
    }

    bool start()
    {
        if (!m_bus.connect(platform::BusName, platform::BusPath, PropertiesInterface, u"PropertiesChanged"_s, this,
                           SLOT(propertiesChanged(QString, QVariantMap))) ||
            !m_bus.connect(QString(), u"/org/freedesktop/DBus/Local"_s, u"org.freedesktop.DBus.Local"_s,
                           u"Disconnected"_s, this, SLOT(disconnected())))
            return false;
        struct stat output
        {
        };
        // A bar that ends closes the pipe, noticed at once; otherwise only the next line would fail.
        if (fstat(STDOUT_FILENO, &output) == 0 && (S_ISFIFO(output.st_mode) || S_ISSOCK(output.st_mode))) {
            auto* end = new QSocketNotifier(STDOUT_FILENO, QSocketNotifier::Read, this);
            connect(end, &QSocketNotifier::activated, this, [] { QCoreApplication::exit(0); });
        }
        ask();
        return true;
    }

private slots:
    void propertiesChanged(const QString& interface, const QVariantMap& changed)
    {
        if (interface != QuillonInterface)
            return;
        // Until there is a complete answer, a change is not complete either.
        if (m_properties.isEmpty()) {
            ask();
            return;
        }
        QVariantMap now = m_properties;
        now.insert(changed);
        show(now);
    }
    void disconnected() { QCoreApplication::exit(failed(app::tr("the session bus is gone"))); }

private:
    void ask()
    {
        const int asked = ++m_asked;
        auto* reply = new QDBusPendingCallWatcher(m_bus.asyncCall(statusCall(), PatienceMilliseconds), this);
        connect(reply, &QDBusPendingCallWatcher::finished, this, [this, asked](QDBusPendingCallWatcher* call) {
            call->deleteLater();
            if (asked == m_asked)
                show(propertiesOf(call->reply()));
        });
    }

    void show(const QVariantMap& properties)
    {
        m_properties = properties;
        const QByteArray now = line(m_command, properties);
        if (now != std::exchange(m_line, now) && !print(now))
            QCoreApplication::exit(0);
    }

    const BusCommand& m_command;
    QDBusConnection m_bus;
    QDBusServiceWatcher m_watcher;
    QVariantMap m_properties;
    QByteArray m_line; ///< printed last; empty: none yet
    int m_asked = 0;
};

} // namespace

QDBusMessage callToProgram(const QString& interface, const QString& method)
{
    QDBusMessage call = QDBusMessage::createMethodCall(platform::BusName, platform::BusPath, interface, method);
    // Asking whether the program runs must not start it.
    call.setAutoStartService(false);
    return call;
}

bool meansNotRunning(const QDBusMessage& error)
{
    const QString name = error.errorName();
    return name == "org.freedesktop.DBus.Error.ServiceUnknown"_L1 ||
           name == "org.freedesktop.DBus.Error.NameHasNoOwner"_L1;
}

bool BusCommand::exists(const QString& name)
{
    return find(name) != nullptr;
}

void BusCommand::run(int argc, char** argv) const
{
    const QCoreApplication application(argc, argv);
    const int status = carryOut();
    std::fflush(nullptr);
    // At an ordinary exit Qt's bus thread outlives the types it uses, and complains on standard error.
    _exit(status);
}

int BusCommand::carryOut() const
{
    if (!platform::hasSessionBus() || !QDBusConnection::sessionBus().isConnected())
        return failed(tr("there is no session bus"));
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (follow) {
        Follower follower(*this, bus);
        return follower.start() ? QCoreApplication::exec() : failed(tr("the session bus does not answer"));
    }
    const QLatin1StringView action = find(name)->action;
    if (!action.isEmpty()) {
        const QDBusMessage reply =
            bus.call(callToProgram(u"org.freedesktop.Application"_s, u"ActivateAction"_s)
                         << QString(action) << QVariantList() << platform::startupIds(),
                     QDBus::Block, action == "toggle"_L1 ? ServicePatienceMilliseconds : PatienceMilliseconds);
        return reply.type() != QDBusMessage::ErrorMessage ? 0 : failed(reasonOf(reply));
    }
    const QDBusMessage reply = bus.call(statusCall(), QDBus::Block, PatienceMilliseconds);
    const QVariantMap properties = propertiesOf(reply);
    if (properties.isEmpty())
        return failed(reasonOf(reply));
    return print(line(*this, properties)) ? 0 : ExitFailed;
}

} // namespace app

#include "BusCommand.moc"
