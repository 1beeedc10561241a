#pragma once

#include "Http.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <tl/expected.hpp>
#include <vector>

namespace localservice {

class Tls;

/// HTTP/1.1 over TCP, with TLS or without. Each connection has a thread of a small pool, so the handler is called from
/// several threads at once. A client has 10 seconds for a handshake and for a head, 30 for a body, and 2 minutes to
/// take a reply; after a request that is refused (`RequestReader`) its connection ends.
class HttpServer final
{
public:
    using Handler = std::function<Reply(const Request&)>;

    explicit HttpServer(Handler handler);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    /// Listens on the numeric addresses, all on the same port, encrypted when there is `tls`; port 0 takes one that is
    /// free on all. The first address must be there; of the others, those that this machine does not have are left out.
    /// Answers the port, or why it is not to be had.
    tl::expected<std::uint16_t, std::string> start(const std::vector<std::string>& addresses, std::uint16_t port,
                                                   std::shared_ptr<Tls> tls = {});

    /// Ends every connection, the ones in the middle of a reply too, and joins the threads. Harmless when not started.
    void stop();

private:
    class Listener;
    Handler m_handler;
    std::unique_ptr<Listener> m_listener;
};

} // namespace localservice
