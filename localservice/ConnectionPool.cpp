#include "ConnectionPool.h"

#include "Peer.h"

#include <algorithm>
#include <csignal>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace localservice {

namespace {

constexpr std::size_t mostThreads = 64;
constexpr std::size_t mostForNetwork = 48;
constexpr std::size_t mostWaitingForNetwork = 64;
// What a network gets at the cost of others.
constexpr std::size_t fairShare = 16;

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
    if (m_stopping || overview().networks[client.network].waiting >= mostWaitingForNetwork) {
        ::close(socket);
        return;
    }
    m_clients.push_back(std::move(client));
    if (m_threads.size() < std::min(m_clients.size(), mostThreads))
        addThread();
    endIdleOne(m_clients.back().network);
    m_changed.notify_one();
}

bool ConnectionPool::beginIdle(int socket)
{
    const std::lock_guard lock(m_mutex);
    const auto self = served(socket);
    if (!self->heir.empty())
        return false;
    const auto overview = this->overview();
    const auto other = std::find_if(m_clients.begin(), m_clients.end(), [&](const Client& client) {
        return client.state == State::Waiting && overview.makesWay(self->network, client.network);
    });
    if (other == m_clients.end())
        become(self, State::Idle);
    else
        self->heir = other->network;
    return self->state == State::Idle;
}

void ConnectionPool::endIdle(int socket)
{
    const std::lock_guard lock(m_mutex);
    become(served(socket), State::Busy);
}

void ConnectionPool::addThread()
{
    try {
        m_threads.emplace_back([this] { work(); });
    } catch (const std::system_error&) {
        // The machine gives no more threads now. The client waits for one of those that are there, or for the next try.
    }
}

void ConnectionPool::work()
{
    // A client that has gone is an error of that connection. The TLS library writes as if it were to end the program.
    sigset_t brokenPipe;
    sigemptyset(&brokenPipe);
    sigaddset(&brokenPipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &brokenPipe, nullptr);
    std::unique_lock lock(m_mutex);
    while (!m_stopping) {
        const auto client = next();
        if (client == m_clients.end()) {
            m_changed.wait(lock);
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

ConnectionPool::Overview ConnectionPool::overview() const
{
    Overview result{.free = m_threads.size()};
    std::size_t ending = 0;
    for (const auto& client : m_clients) {
        auto& network = result.networks[client.network];
        if (client.state == State::Waiting) {
            ++network.waiting;
            continue;
        }
        --result.free;
        ++network.served;
        ending += client.heir.empty() ? 0 : 1;
        ++result.networks[client.heir.empty() ? client.network : client.heir].share;
    }
    std::size_t waiting = 0;
    for (const auto& [name, network] : result.networks)
        waiting += std::min(network.waiting, mostForNetwork - network.served);
    result.isPlaceWanted = waiting > result.free + ending;
    return result;
}

bool ConnectionPool::Overview::makesWay(const std::string& network, const std::string& other) const
{
    const auto& waiting = networks.at(other);
    if (network == other)
        return isPlaceWanted || waiting.served >= mostForNetwork;
    // Those of them that wait for no more than a thread that is free have their place already.
    const auto share = waiting.share + std::min(waiting.waiting, free);
    return isPlaceWanted && share < fairShare && share < networks.at(network).share;
}

ConnectionPool::Clients::iterator ConnectionPool::next()
{
    const auto overview = this->overview();
    auto best = m_clients.end();
    auto fewest = mostForNetwork;
    for (auto client = m_clients.begin(); client != m_clients.end(); ++client) {
        if (client->state != State::Waiting)
            continue;
        if (const auto served = overview.networks.at(client->network).served; served < fewest) {
            best = client;
            fewest = served;
        }
    }
    return best;
}

void ConnectionPool::endIdleOne(const std::string& other)
{
    const auto overview = this->overview();
    auto idle = m_clients.end();
    std::size_t most = 0;
    for (auto client = m_clients.begin(); client != m_clients.end(); ++client) {
        if (client->state != State::Idle || !client->heir.empty() || !overview.makesWay(client->network, other))
            continue;
        if (const auto share = overview.networks.at(client->network).share; share > most) {
            idle = client;
            most = share;
        }
    }
    if (idle == m_clients.end())
        return;
    // Its thread wakes up and finds that its client has nothing more to say.
    ::shutdown(idle->socket, SHUT_RD);
    idle->heir = other;
}

} // namespace localservice
