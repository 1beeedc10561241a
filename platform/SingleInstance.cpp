#include "SingleInstance.h"

#include "Paths.h"
#include "linux/X11.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QFile>
#include <QObject>
#include <QSocketNotifier>

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <optional>
#include <utility>

namespace platform {

using namespace Qt::StringLiterals;

namespace {

constexpr int PatienceMilliseconds = 500;
constexpr int StepMilliseconds = 5;

constexpr auto InterfaceName = "org.freedesktop.Application"_L1;

class ApplicationObject final : public QObject, public QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    ApplicationObject(std::function<void()> activated, SingleInstance::PerformAction perform)
        : m_activated(std::move(activated)), m_perform(std::move(perform))
    {
    }

public slots:
    void Activate(const QVariantMap& platformData)
    {
        takeIds(platformData);
        m_activated();
    }
    void Open(const QStringList& uris, const QVariantMap& platformData)
    {
        Q_UNUSED(uris); // there is no file to open; the name is for introspection
        Activate(platformData);
    }
    void ActivateAction(const QString& name, const QVariantList& parameter, const QVariantMap& platformData)
    {
        Q_UNUSED(parameter);
        takeIds(platformData);
        setDelayedReply(true);
        m_perform(name, [call = message(), bus = connection()](const std::optional<SingleInstance::Refusal>& refused) {
            bus.send(refused ? call.createErrorReply(refused->error, refused->reason) : call.createReply());
        });
    }

private:
    static void takeIds(const QVariantMap& platformData)
    {
        const QByteArray id = platformData.value(u"desktop-startup-id"_s).toString().toUtf8();
        x11::endStartup(id);
        // Some desktops give the same under the older name alone.
        const QByteArray token = platformData.value(u"activation-token"_s).toString().toUtf8();
        // Where Qt looks for the permission to raise a window.
        if (!token.isEmpty() || (!id.isEmpty() && !x11::isRunning()))
            qputenv("XDG_ACTIVATION_TOKEN", token.isEmpty() ? id : token);
    }

    const std::function<void()> m_activated;
    const SingleInstance::PerformAction m_perform;
};

class Descriptor
{
public:
    explicit Descriptor(int value) : m_value(value) {}
    ~Descriptor()
    {
        if (m_value >= 0)
            close(m_value);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int operator*() const { return m_value; }
    explicit operator bool() const { return m_value >= 0; }

private:
    const int m_value;
};

std::optional<sockaddr_un> socketAddress(const QString& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray name = QFile::encodeName(path);
    if (static_cast<std::size_t>(name.size()) >= sizeof address.sun_path)
        return std::nullopt;
    std::copy(name.begin(), name.end(), address.sun_path);
    return address;
}

const sockaddr* generic(const sockaddr_un& address)
{
    return reinterpret_cast<const sockaddr*>(&address);
}

} // namespace

bool hasSessionBus()
{
    if (!qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"))
        return true;
    const QByteArray folder = qgetenv("XDG_RUNTIME_DIR");
    return !folder.isEmpty() && access((folder + "/bus").constData(), F_OK) == 0;
}

QVariantMap startupIds()
{
    QVariantMap ids;
    if (const QString id = qEnvironmentVariable("DESKTOP_STARTUP_ID"); !id.isEmpty())
        ids.insert(u"desktop-startup-id"_s, id);
    if (const QString token = qEnvironmentVariable("XDG_ACTIVATION_TOKEN"); !token.isEmpty())
        ids.insert(u"activation-token"_s, token);
    return ids;
}

class SingleInstance::Claim
{
public:
    virtual ~Claim() = default;
    /// Empty: cannot be found out this way.
    virtual std::optional<bool> claim() = 0;
    virtual QObject* busObject() { return nullptr; }
};

class SingleInstance::BusClaim final : public Claim
{
public:
    BusClaim(QVariantMap startedBy, const std::function<void()>& activated, PerformAction perform)
        : m_startedBy(std::move(startedBy)), m_object(activated, std::move(perform))
    {
    }
    ~BusClaim() override
    {
        if (!m_owner)
            return;
        QDBusConnection bus = QDBusConnection::sessionBus();
        bus.unregisterService(BusName);
        bus.unregisterObject(BusPath);
    }

    QObject* busObject() override { return &m_object; }

    std::optional<bool> claim() override
    {
        if (!hasSessionBus())
            return std::nullopt;
        QDBusConnection bus = QDBusConnection::sessionBus();
        if (!bus.isConnected())
            return std::nullopt;
        // The object first: it may be called as soon as the name is visible.
        if (!bus.registerObject(BusPath, &m_object, QDBusConnection::ExportAllSlots | QDBusConnection::ExportAdaptors))
            return std::nullopt;
        // The owner may leave between our two steps, which frees its name.
        for (int attempt = 0; attempt < 3; ++attempt) {
            m_owner = bus.registerService(BusName);
            if (m_owner)
                return true;
            QDBusMessage call = QDBusMessage::createMethodCall(BusName, BusPath, InterfaceName, u"Activate"_s);
            call << m_startedBy;
            call.setAutoStartService(false);
            const QDBusMessage reply = bus.call(call, QDBus::Block, PatienceMilliseconds);
            if (reply.type() != QDBusMessage::ErrorMessage ||
                reply.errorName() != "org.freedesktop.DBus.Error.ServiceUnknown"_L1)
                break;
        }
        bus.unregisterObject(BusPath);
        return false;
    }

private:
    const QVariantMap m_startedBy;
    ApplicationObject m_object;
    bool m_owner = false;
};

class SingleInstance::SocketClaim final : public Claim
{
public:
    explicit SocketClaim(std::function<void()> activated)
        : m_activated(std::move(activated)), m_folder(runtimeFolder()),
          // The kernel releases the lock when its holder dies, however that happens.
          m_lock(m_folder.isEmpty() ? -1
                                    : open(QFile::encodeName(m_folder + "/quillon.lock"_L1).constData(),
                                           O_RDWR | O_CREAT | O_CLOEXEC, 0600)),
          m_socket(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
    {
    }
    ~SocketClaim() override
    {
        if (m_notifier)
            unlink(socketPath().constData());
    }

    std::optional<bool> claim() override
    {
        const auto address = socketAddress(m_folder + "/quillon.socket"_L1);
        if (!m_lock || !m_socket || !address)
            return std::nullopt;
        // The holder of the lock may not listen yet, or no longer: then the lock is about to be released.
        for (int waited = 0; flock(*m_lock, LOCK_EX | LOCK_NB) != 0; waited += StepMilliseconds) {
            if (waited >= PatienceMilliseconds || tell(*address))
                return false;
            poll(nullptr, 0, StepMilliseconds);
        }
        unlink(socketPath().constData());
        // The path gets its mode from it.
        fchmod(*m_socket, 0600);
        if (bind(*m_socket, generic(*address), sizeof *address) == 0 && listen(*m_socket, 4) == 0) {
            m_notifier.emplace(*m_socket, QSocketNotifier::Read);
            QObject::connect(&*m_notifier, &QSocketNotifier::activated, &*m_notifier, [this] { accepted(); });
        }
        return true;
    }

private:
    QByteArray socketPath() const { return QFile::encodeName(m_folder + "/quillon.socket"_L1); }

    /// A connection is the whole message; its end is the receipt.
    bool tell(const sockaddr_un& address) const
    {
        if (connect(*m_socket, generic(address), sizeof address) != 0)
            return false;
        pollfd end{*m_socket, POLLIN, 0};
        poll(&end, 1, PatienceMilliseconds);
        return true;
    }

    void accepted() const
    {
        const Descriptor caller(accept4(*m_socket, nullptr, nullptr, SOCK_CLOEXEC));
        if (caller)
            m_activated();
    }

    const std::function<void()> m_activated;
    const QString m_folder;
    const Descriptor m_lock;
    const Descriptor m_socket;
    std::optional<QSocketNotifier> m_notifier;
};

SingleInstance::SingleInstance() = default;
SingleInstance::~SingleInstance() = default;

bool SingleInstance::claim(QVariantMap startedBy, std::function<void()> activated, PerformAction perform)
{
    m_claim = std::make_unique<BusClaim>(std::move(startedBy), activated, std::move(perform));
    std::optional<bool> first = m_claim->claim();
    if (!first) {
        m_claim = std::make_unique<SocketClaim>(std::move(activated));
        first = m_claim->claim();
    }
    if (first != true)
        m_claim.reset();
    // When neither way works, running twice is better than not at all.
    return first.value_or(true);
}

QObject* SingleInstance::busObject() const
{
    return m_claim ? m_claim->busObject() : nullptr;
}

} // namespace platform

#include "SingleInstance.moc"
