#pragma once

#include <condition_variable>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace localservice {

/// The connections and their threads, one for each that is served.
///
/// Threads are made when no free one is left, up to 64: an unused service costs none. When all are taken, an idle
/// connection is ended for the next, which is one of the network that is served least. It is one of the network that
/// has most; but a network with 16 or more gets another place only from those that nobody has, or that are its own. A
/// single network never gets more than 48. So nobody's flood ends the idle connections of others, or keeps them out.
/// Thread-safe.
class ConnectionPool final
{
public:
    /// Serves one connection until it ends. The socket stays the pool's.
    using Serve = std::function<void(int socket, const std::string& peer)>;

    explicit ConnectionPool(Serve serve) : m_serve(std::move(serve)) {}
    /// Ends the connections that wait and joins the threads; those that are served must be told to end before.
    ~ConnectionPool();
    ConnectionPool(const ConnectionPool&) = delete;
    ConnectionPool& operator=(const ConnectionPool&) = delete;

    /// Takes over a connected socket.
    void add(int socket, const std::string& peer);

    /// The connection now waits for its client's next request; false when it shall end because others wait.
    bool beginIdle(int socket);
    void endIdle(int socket);

private:
    enum class State
    {
        Waiting,
        Busy,
        Idle,
    };
    struct Client
    {
        int socket;
        std::string peer;
        std::string network;
        State state = State::Waiting;
        std::string heir = {}; ///< the network that its place goes to, when it has been told to end
    };
    using Clients = std::list<Client>; // in order of their last change of state

    struct Network
    {
        std::size_t served = 0;
        std::size_t waiting = 0;
        std::size_t share = 0; ///< the places that it has, or will have when those have ended that were told to
    };
    struct Overview
    {
        std::map<std::string, Network> networks;
        std::size_t free = 0;       ///< threads that have no connection, or are only just beginning
        bool isPlaceWanted = false; ///< more wait than there are places for, with those that have been told to end

        /// Whether an idle connection of `network` ends for one of `other` that waits.
        bool makesWay(const std::string& network, const std::string& other) const;
    };

    void addThread();
    void work();
    void become(Clients::iterator client, State state);
    Clients::iterator served(int socket);
    Clients::iterator next();
    Overview overview() const;
    void endIdleOne(const std::string& other);

    const Serve m_serve;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    Clients m_clients;
    std::vector<std::thread> m_threads;
    bool m_stopping = false;
};

} // namespace localservice
