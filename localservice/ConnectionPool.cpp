#include "ConnectionPool.h"

#include "Peer.h"

#include <algorithm>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace localservice {

namespace {

constexpr std::size_t mostThreads = 64;
constexpr std::size_t mostForNetwork = 48;
constexpr std::size_t mostWaitingForNetwork = 64;

} // namespace

ConnectionPool::~ConnectionPool()
{
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_changed.notify_all();
    for (auto& thread : m_threads)
        thread.join();
    for (const auto& client : m_clients)
        ::close(client.socket);
}

void ConnectionPool::add(int socket, const std::string& peer)
{
    const std::lock_guard lock(m_mutex);
    Client client{socket, peer, networkOf(peer)};
    if (m_stopping || count(client.network, true) >= mostWaitingForNetwork) {
        ::close(socket);
        return;
    }
    m_clients.push_back(std::move(client));
    const auto waiting = std::count_if(m_clients.begin(), m_clients.end(),
                                       [](const Client& other) { return other.state == State::Waiting; });
    if (isFull(m_clients.back().network))
        endIdleOne(&m_clients.back().network);
    else if (static_cast<std::size_t>(waiting) > m_freeThreads && !addThread())
        endIdleOne(nullptr);
    m_changed.notify_one();
}

bool ConnectionPool::beginIdle(int socket)
{
    const std::lock_guard lock(m_mutex);
    const auto self = served(socket);
    const bool wanted = std::any_of(m_clients.begin(), m_clients.end(), [&](const Client& client) {
        return client.state == State::Waiting &&
               (isFull(client.network) ? client.network == self->network : m_freeThreads == 0);
    });
    if (wanted)
        return false;
    become(self, State::Idle);
    return true;
}

void ConnectionPool::endIdle(int socket)
{
    const std::lock_guard lock(m_mutex);
    become(served(socket), State::Busy);
}

bool ConnectionPool::addThread()
{
    if (m_threads.size() >= mostThreads)
        return false;
    try {
        m_threads.emplace_back([this] { work(); });
        return true;
    } catch (const std::system_error&) {
        // The machine gives no more threads now. The client waits for one of those that are there, or for the next try.
        return false;
    }
}

void ConnectionPool::work()
{
    std::unique_lock lock(m_mutex);
    while (!m_stopping) {
        const auto client = next();
        if (client == m_clients.end()) {
            ++m_freeThreads;
            m_changed.wait(lock);
            --m_freeThreads;
            continue;
        }
        become(client, State::Busy);
        lock.unlock();
        m_serve(client->socket, client->peer);
        lock.lock();
        // Not before: the number may be given to the next connection at once.
        ::close(client->socket);
        m_clients.erase(client);
    }
}

void ConnectionPool::become(Clients::iterator client, State state)
{
    client->state = state;
    m_clients.splice(m_clients.end(), m_clients, client);
}

ConnectionPool::Clients::iterator ConnectionPool::served(int socket)
{
    return std::find_if(m_clients.begin(), m_clients.end(),
                        [socket](const Client& client) { return client.socket == socket; });
}

std::size_t ConnectionPool::count(const std::string& network, bool waiting) const
{
    return static_cast<std::size_t>(std::count_if(m_clients.begin(), m_clients.end(), [&](const Client& client) {
        return client.network == network && (client.state == State::Waiting) == waiting;
    }));
}

ConnectionPool::Clients::iterator ConnectionPool::next()
{
    auto best = m_clients.end();
    auto fewest = mostForNetwork;
    for (auto client = m_clients.begin(); client != m_clients.end(); ++client) {
        if (client->state != State::Waiting)
            continue;
        if (const auto served = count(client->network, false); served < fewest) {
            best = client;
            fewest = served;
        }
    }
    return best;
}

bool ConnectionPool::isFull(const std::string& network) const
{
    return count(network, false) >= mostForNetwork;
}

void ConnectionPool::endIdleOne(const std::string* network)
{
    const auto idle = std::find_if(m_clients.begin(), m_clients.end(), [&](const Client& client) {
        return client.state == State::Idle && (!network || client.network == *network);
    });
    if (idle == m_clients.end())
        return;
    // Its thread wakes up and finds that its client has nothing more to say. Others must not choose it again.
    ::shutdown(idle->socket, SHUT_RD);
    become(idle, State::Busy);
}

} // namespace localservice
