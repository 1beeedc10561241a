#include "Transport.h"

#include <cerrno>
#include <sys/socket.h>

namespace localservice {

namespace {

class PlainTransport final : public Transport
{
public:
    explicit PlainTransport(int socket) : m_socket(socket) {}

    Step open() override { return {Outcome::Done}; }

    Step receive(char* to, std::size_t size) override
    {
        const auto count = ::recv(m_socket, to, size, 0);
        return count == 0 ? Step{Outcome::Closed} : step(count, Outcome::WantsInput);
    }

    Step send(const char* from, std::size_t size) override
    {
        return step(::send(m_socket, from, size, MSG_NOSIGNAL), Outcome::WantsOutput);
    }

    void close() override {}

private:
    static Step step(ssize_t count, Outcome wanted)
    {
        if (count >= 0)
            return {Outcome::Done, static_cast<std::size_t>(count)};
        return {errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR ? wanted : Outcome::Closed};
    }

    const int m_socket;
};

} // namespace

std::unique_ptr<Transport> Transport::plain(int socket)
{
    return std::make_unique<PlainTransport>(socket);
}

} // namespace localservice
