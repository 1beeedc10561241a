// bench-desktops PORT PROCESS
//
// Measures the service, which has that process number, with many desktops: 1,000 that keep their connections and
// refresh every 30 seconds, beside one alone; and somebody's requests while 200 clients of another network dawdle.
#include "Home.h"
#include "Report.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <list>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace bench;

constexpr int Desktops = 1000;
constexpr double Period = 30;
constexpr int Dawdlers = 200;

/// One of "ann@example.com:of the benchmark", the account's person.
constexpr const char* Credentials = "YW5uQGV4YW1wbGUuY29tOm9mIHRoZSBiZW5jaG1hcms=";

class Connection
{
public:
    /// `source` tells the addresses of 127.0.0.0/8 apart that it may speak from.
    Connection(const char* port, std::uint32_t source) : m_socket(::socket(AF_INET, SOCK_STREAM, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(0x7f000000U + source);
        ::bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(static_cast<std::uint16_t>(std::atoi(port)));
        m_isOpen = ::connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
        const int on = 1;
        ::setsockopt(m_socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }
    ~Connection() { ::close(m_socket); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    int socket() const { return m_socket; }
    bool isOpen() const { return m_isOpen; }

    void say(const std::string& text)
    {
        m_isOpen =
            m_isOpen && ::send(m_socket, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
    }
    void ask()
    {
        m_asked = now();
        say(std::string("GET /daily?slim=1 HTTP/1.1\r\nHost: ") + AccountName + ".localhost\r\nAuthorization: Basic " +
            Credentials + "\r\n\r\n");
    }
    /// Takes in what has come; true when that was the rest of a good reply.
    bool readSome()
    {
        char some[64 * 1024];
        const auto count = ::recv(m_socket, some, sizeof some, 0);
        m_isOpen = count > 0;
        m_reply.append(some, static_cast<std::size_t>(std::max<ssize_t>(0, count)));
        const auto head = m_reply.find("\r\n\r\n");
        const auto length = m_reply.find("Content-Length: ");
        if (head == std::string::npos || length > head ||
            m_reply.size() < head + 4 + std::stoul(m_reply.substr(length + 16, 12)))
            return false;
        m_isOpen = m_reply.starts_with("HTTP/1.1 200");
        m_reply.clear();
        return m_isOpen;
    }
    /// Milliseconds until the reply to one request was there; none when there was none.
    std::vector<double> request()
    {
        for (ask(); m_isOpen;) {
            if (readSome())
                return {age()};
        }
        return {};
    }
    double age() const { return (now() - m_asked) * 1000; }

private:
    const int m_socket;
    bool m_isOpen = false;
    double m_asked = 0;
    std::string m_reply;
};

/// Milliseconds of requests at that distance in seconds, one after the other.
std::vector<double> requests(Connection& connection, int count, double distance)
{
    std::vector<double> all;
    for (int i = 0; i < count; ++i) {
        const auto one = connection.request();
        if (one.empty())
            throw std::runtime_error("the service did not answer");
        all.push_back(one.front());
        ::usleep(static_cast<useconds_t>(std::max(0.0, distance - one.front() / 1000) * 1e6));
    }
    return all;
}

double kilobytesOf(const std::string& process)
{
    std::ifstream status("/proc/" + process + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmRSS:"))
            return std::stod(line.substr(6));
    }
    return 0;
}

/// Milliseconds of one request of each, spread over the period.
std::vector<double> refresh(std::vector<std::unique_ptr<Connection>>& all)
{
    std::vector<double> times;
    std::vector<pollfd> waiting;
    std::vector<Connection*> asked;
    const double begin = now();
    for (std::size_t next = 0; next < all.size() || !asked.empty();) {
        const double turn = begin + Period * static_cast<double>(next) / static_cast<double>(all.size());
        if (next < all.size() && now() >= turn) {
            all[next]->ask();
            asked.push_back(all[next++].get());
            continue;
        }
        waiting.clear();
        for (const auto* connection : asked)
            waiting.push_back({connection->socket(), POLLIN, 0});
        ::poll(waiting.data(), waiting.size(), next < all.size() ? std::max(1, int((turn - now()) * 1000)) : -1);
        for (std::size_t i = waiting.size(); i-- > 0;) {
            if (waiting[i].revents == 0)
                continue;
            const bool isAnswered = asked[i]->readSome();
            if (isAnswered)
                times.push_back(asked[i]->age());
            if (isAnswered || !asked[i]->isOpen())
                asked.erase(asked.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }
    return times;
}

void measureDesktops(const char* port, const std::string& service)
{
    Connection one(port, 2);
    const auto alone = requests(one, 200, Period / Desktops);
    const double before = kilobytesOf(service);
    std::vector<std::unique_ptr<Connection>> all;
    std::size_t opened = 0;
    for (int i = 0; i < Desktops; ++i) {
        all.push_back(std::make_unique<Connection>(port, 2));
        opened += all.back()->request().size();
    }
    const double memory = (kilobytesOf(service) - before) / Desktops;
    const auto times = refresh(all);
    const auto refused = 2.0 * Desktops - static_cast<double>(opened + times.size());
    report("requests of 1,000 desktops that were refused", refused, "", {0, 0},
           text("of %d, in %.0f s", 2 * Desktops, Period));
    report("refresh of one of them, of one that is alone", median(times) / median(alone), "x", {2, 1.2},
           text("%.2f / %.2f ms; worst %.1f / %.1f ms", median(times), median(alone), largest(times), largest(alone)));
    report("memory of a connection", memory, "KiB", {64, 20}, "");
}

void measureDawdlers(const char* port)
{
    Connection somebody(port, 3);
    const auto alone = requests(somebody, 300, 0);
    std::list<Connection> slow;
    for (int i = 0; i < Dawdlers; ++i)
        slow.emplace_back(port, 4).say("GET / HT");
    const auto kept = requests(somebody, 300, 0);
    Connection newcomer(port, 3);
    const auto fresh = newcomer.request();
    report("request beside 200 dawdlers, of one without", median(kept) / median(alone), "x", {2, 1.2},
           text("%.2f / %.2f ms; of a newcomer %.2f ms", median(kept), median(alone), largest(fresh)));
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3) {
        std::fputs("usage: bench-desktops PORT PROCESS\n", stderr);
        return 64;
    }
    rlimit descriptors{};
    ::getrlimit(RLIMIT_NOFILE, &descriptors);
    descriptors.rlim_cur = descriptors.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &descriptors);
    try {
        measureDesktops(argv[1], argv[2]);
        measureDawdlers(argv[1]);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bench-desktops: %s\n", failure.what());
        return 1;
    }
    return 0;
}
