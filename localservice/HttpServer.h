#pragma once

#include "Http.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <tl/expected.hpp>
#include <utility>
#include <vector>

namespace localservice {

class Tls;

/// HTTP/1.1 over TCP, with or without TLS. One thread waits for all connections, so slow or idle ones cost only memory;
/// four workers call the handler concurrently, and compute the handshakes of TLS. After a rejected request
/// (`RequestReader`) the connection ends.
///
/// When all places are taken, the newcomer gets that of a connection that waits, for its client (idle or in the middle
/// of something) or for a worker: the one that has waited longest, of the network that has most. A network with a 64th
/// of all places gets another only from those that nobody has, or that are its own; and no network has all workers, nor
/// have handshakes. So nobody's flood keeps others out, ends what they keep open, or makes them wait.
///
/// Thread-safe.
class HttpServer final
{
public:
    using Handler = std::function<Reply(const Request&)>;
    /// Whether the sender of that head may upload as much as it announces. Called by a worker.
    using Admission = std::function<bool(const Request&)>;

    /// How long a client has for each step, and how many there are at a time: no more than three quarters of the
    /// descriptors that the process may open when it starts to listen.
    struct Limits
    {
        std::chrono::milliseconds handshake = std::chrono::seconds(10);
        std::chrono::milliseconds head = std::chrono::seconds(10);
        std::chrono::milliseconds body = std::chrono::seconds(30);
        std::chrono::milliseconds upload = std::chrono::minutes(10);
        std::chrono::milliseconds reply = std::chrono::minutes(2); ///< to take it
        /// Longer than the program's refresh period, so that its polling needs one connection.
        std::chrono::milliseconds idle = std::chrono::seconds(75);
        std::size_t clients = 4096;
    };

    explicit HttpServer(Handler handler) : HttpServer(std::move(handler), Limits()) {}
    /// Without `admission` nobody uploads anything.
    HttpServer(Handler handler, Limits limits, Admission admission = {});
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    /// Listens on the numeric addresses, all on the same port, encrypted when there is `tls`; port 0 takes one that is
    /// free on all. The first address must be there; of the others, those that this machine does not have are left out.
    /// Returns the port, or why it is unavailable.
    tl::expected<std::uint16_t, std::string> start(const std::vector<std::string>& addresses, std::uint16_t port,
                                                   std::shared_ptr<Tls> tls = {});

    /// Ends every connection, the ones in the middle of a reply too, and joins the threads. Harmless when not started.
    void stop();

private:
    class Listener;
    const Handler m_handler;
    const Limits m_limits;
    const Admission m_admission;
    std::mutex m_mutex; ///< for the listener; whoever stops holds it until the threads have ended
    std::unique_ptr<Listener> m_listener;
};

} // namespace localservice
