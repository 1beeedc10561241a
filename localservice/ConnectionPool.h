#pragma once

#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace localservice {

/// The connections and their threads, one for each that is served.
///
/// Threads are made when no free one is left, up to 64: an unused service costs none. When all are taken, the
/// connection that has been idle for longest is ended for the next, which is one of the network that is served least; a
/// single network never gets more than 48, so that slow clients cannot keep everybody else out. Thread-safe.
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
    };
    using Clients = std::list<Client>; // in order of their last change of state

    bool addThread();
    void work();
    void become(Clients::iterator client, State state);
    Clients::iterator served(int socket);
    std::size_t count(const std::string& network, bool waiting) const;
    Clients::iterator next();
    bool isFull(const std::string& network) const;
    void endIdleOne(const std::string* network);

    const Serve m_serve;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    Clients m_clients;
    std::vector<std::thread> m_threads;
    std::size_t m_freeThreads = 0;
    bool m_stopping = false;
};

} // namespace localservice
