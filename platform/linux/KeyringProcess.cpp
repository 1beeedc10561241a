#include "KeyringProcess.h"

#include "../Run.h"
#include "../Secret.h"

#include <QAbstractEventDispatcher>
#include <QDeadlineTimer>
#include <QFile>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

namespace platform {

using keyring::Head;
using keyring::Outcome;

namespace {

// The helper takes everything as soon as it runs.
constexpr int PatienceForSending = 2000; // milliseconds

} // namespace

KeyringProcess::Exchange::~Exchange()
{
    wipe(found);
}

KeyringProcess::KeyringProcess(QString program) : m_program(std::move(program))
{
    QObject::connect(&m_notifier, &QSocketNotifier::activated, &m_notifier, [this] { receive(); });
}

KeyringProcess::~KeyringProcess()
{
    end();
}

std::shared_ptr<KeyringProcess::Exchange> KeyringProcess::begin(keyring::Wish wish, const Parts& parts,
                                                                std::function<void(Exchange&)> done)
{
    auto exchange = std::make_shared<Exchange>();
    exchange->isBehindAbandoned = isHeldUp();
    exchange->done = std::move(done);
    // One whose work is done is on its way out.
    if (m_open.empty())
        end();
    m_open.push_back(exchange);
    if (m_process < 0 && !start())
        finish(Outcome::NotInstalled);
    else if (!send(wish, parts))
        breakDown();
    return exchange;
}

Outcome KeyringProcess::await(Exchange& exchange, std::chrono::milliseconds patience)
{
    // One long wait for a hanging keyring is enough; later calls find out whether it has recovered.
    watch();
    const QDeadlineTimer end(exchange.isBehindAbandoned ? std::chrono::milliseconds(0) : patience, Qt::PreciseTimer);
    for (receive(); !exchange.outcome && !end.hasExpired(); receive()) {
        pollfd incoming{m_socket, POLLIN, 0};
        poll(&incoming, 1, static_cast<int>(std::max<qint64>(end.remainingTime(), 1)));
    }
    if (exchange.outcome)
        return *exchange.outcome;
    m_heldUp = true;
    return Outcome::TimedOut;
}

bool KeyringProcess::isHeldUp()
{
    receive();
    return m_heldUp;
}

bool KeyringProcess::start()
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return false;
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, ends[1], STDIN_FILENO);
    posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1);
    QByteArray name = QFile::encodeName(m_program);
    char* const words[] = {name.data(), nullptr};
    const int error = posix_spawn(&m_process, name.constData(), &files, nullptr, words, environ);
    posix_spawn_file_actions_destroy(&files);
    close(ends[1]);
    if (error != 0) {
        qWarning("%s: %s", name.constData(), std::strerror(error));
        m_process = -1;
        close(ends[0]);
        return false;
    }
    m_socket = ends[0];
    m_notifier.setSocket(m_socket);
    watch();
    return true;
}

/// Needs an event loop. A process that was started before there was one is watched when it is awaited.
void KeyringProcess::watch()
{
    if (m_socket >= 0 && QAbstractEventDispatcher::instance())
        m_notifier.setEnabled(true);
}

bool KeyringProcess::send(keyring::Wish wish, const Parts& parts)
{
    Head head{static_cast<std::uint32_t>(wish), {}};
    iovec rest[1 + std::tuple_size_v<Parts>] = {{&head, sizeof head}};
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const auto size = static_cast<std::size_t>(parts[i].size());
        if (size > keyring::LargestPart)
            return false;
        head.sizes[i] = static_cast<std::uint32_t>(size);
        rest[i + 1] = {const_cast<char*>(parts[i].constData()), size};
    }
    msghdr message{};
    message.msg_iov = rest;
    message.msg_iovlen = std::size(rest);
    while (message.msg_iovlen > 0) {
        ssize_t sent = sendmsg(m_socket, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0 && errno == EAGAIN) {
            pollfd outgoing{m_socket, POLLOUT, 0};
            if (poll(&outgoing, 1, PatienceForSending) == 0)
                return false;
            continue;
        }
        if (sent < 0 && errno != EINTR)
            return false;
        for (sent = std::max<ssize_t>(sent, 0); message.msg_iovlen > 0; ++message.msg_iov, --message.msg_iovlen) {
            const auto taken = std::min(static_cast<std::size_t>(sent), message.msg_iov->iov_len);
            message.msg_iov->iov_base = static_cast<char*>(message.msg_iov->iov_base) + taken;
            message.msg_iov->iov_len -= taken;
            sent -= static_cast<ssize_t>(taken);
            if (message.msg_iov->iov_len > 0)
                break;
        }
    }
    return true;
}

/// Takes what has come, and does not wait for more.
void KeyringProcess::receive()
{
    while (m_socket >= 0 && read(&m_head, sizeof m_head, m_headRead)) {
        const std::size_t size = m_head.sizes[0];
        if (size > keyring::LargestPart || m_open.empty() || m_head.what > std::uint32_t(Outcome::Failed))
            return breakDown();
        if (m_part.isNull())
            m_part = QByteArray(static_cast<qsizetype>(size), Qt::Uninitialized);
        if (!read(m_part.data(), size, m_partRead))
            return;
        m_open.front()->found = std::exchange(m_part, {});
        m_headRead = m_partRead = 0;
        finish(static_cast<Outcome>(m_head.what));
    }
}

/// Whether all of it has been read by now.
bool KeyringProcess::read(void* place, std::size_t size, std::size_t& taken)
{
    while (taken < size) {
        const ssize_t came = recv(m_socket, static_cast<char*>(place) + taken, size - taken, MSG_DONTWAIT);
        if (came > 0) {
            taken += static_cast<std::size_t>(came);
        } else if (came < 0 && (errno == EAGAIN || errno == EINTR)) {
            return false;
        } else {
            breakDown();
            return false;
        }
    }
    return true;
}

/// The first of the open requests.
void KeyringProcess::finish(Outcome outcome)
{
    const std::shared_ptr<Exchange> exchange = std::move(m_open.front());
    m_open.pop_front();
    exchange->outcome = outcome;
    if (exchange->done) {
        Run::current().postToMain([exchange, lives = std::weak_ptr(m_lives)] {
            if (!lives.expired())
                exchange->done(*exchange);
        });
    }
    if (!m_open.empty())
        return;
    m_heldUp = false;
    // It ends, which is noticed as the other end of the connection.
    if (m_socket >= 0)
        shutdown(m_socket, SHUT_WR);
}

/// The process has ended, or says what cannot be understood.
void KeyringProcess::breakDown()
{
    if (!m_open.empty())
        qWarning("%s failed", qPrintable(m_program));
    end();
    while (!m_open.empty())
        finish(Outcome::Failed);
}

void KeyringProcess::end()
{
    wipe(m_part);
    m_headRead = m_partRead = 0;
    if (m_process < 0)
        return;
    m_notifier.setEnabled(false);
    close(std::exchange(m_socket, -1));
    // Most have ended by themselves.
    const pid_t process = std::exchange(m_process, -1);
    kill(process, SIGKILL);
    while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
    }
}

} // namespace platform
