// bench-attack SERVICE
//
// Measures that program, with TLS, while clients of another network attack it: what somebody's requests on a kept
// connection take then, what a newcomer's first one takes, whether any is lost, and how soon the service ends.
#include "Process.h"
#include "Report.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <list>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace bench;

constexpr int Requests = 400;
constexpr int Newcomers = 60;
constexpr int Dawdlers = 200;
constexpr std::uint32_t Somebody = 3; // in 127.0.0.0/8
constexpr std::uint32_t Attacker = 11;

std::uint16_t s_port = 0;
std::string s_credentials;

SSL_CTX* clientContext()
{
    static SSL_CTX* const context = SSL_CTX_new(TLS_client_method());
    return context;
}

/// A TCP connection to the service. An `abrupt` one ends without waiting for anything.
class Connection
{
public:
    explicit Connection(std::uint32_t source, bool abrupt = false)
        : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(0x7f000000U + source);
        ::bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(s_port);
        m_isOpen = ::connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
        const int on = 1;
        ::setsockopt(m_socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        const linger none{1, 0};
        if (abrupt) // or its port would be taken for a minute
            ::setsockopt(m_socket, SOL_SOCKET, SO_LINGER, &none, sizeof none);
    }
    ~Connection() { ::close(m_socket); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    int socket() const { return m_socket; }
    bool isOpen() const { return m_isOpen; }
    bool say(const std::string& text) const { return ::send(m_socket, text.data(), text.size(), MSG_NOSIGNAL) > 0; }
    bool hear() const
    {
        char some[4096];
        return ::recv(m_socket, some, sizeof some, 0) > 0;
    }

private:
    const int m_socket;
    bool m_isOpen = false;
};

/// The same with TLS.
class SecureConnection
{
public:
    explicit SecureConnection(std::uint32_t source, bool abrupt = false)
        : m_connection(source, abrupt), m_session(SSL_new(clientContext()))
    {
        SSL_set_fd(m_session, m_connection.socket());
        m_isOpen = m_connection.isOpen() && SSL_connect(m_session) == 1;
    }
    ~SecureConnection() { SSL_free(m_session); }
    SecureConnection(const SecureConnection&) = delete;
    SecureConnection& operator=(const SecureConnection&) = delete;

    bool isOpen() const { return m_isOpen; }
    bool changeKey() const
    {
        return SSL_key_update(m_session, SSL_KEY_UPDATE_NOT_REQUESTED) == 1 && SSL_do_handshake(m_session) == 1;
    }
    /// Whether a request is answered.
    bool isServed()
    {
        const std::string request =
            "GET /daily?slim=1 HTTP/1.1\r\nHost: local.localhost\r\nAuthorization: Basic " + s_credentials + "\r\n\r\n";
        if (!m_isOpen || SSL_write(m_session, request.data(), static_cast<int>(request.size())) <= 0)
            return false;
        std::string reply;
        for (std::size_t end = std::string::npos;;) {
            char some[16 * 1024];
            const int count = SSL_read(m_session, some, sizeof some);
            if (count <= 0)
                return false;
            reply.append(some, static_cast<std::size_t>(count));
            if (end == std::string::npos && reply.find("\r\n\r\n") != std::string::npos)
                end = reply.find("\r\n\r\n") + 4 + std::stoul(reply.substr(reply.find("Content-Length: ") + 16, 12));
            if (reply.size() >= end)
                return reply.starts_with("HTTP/1.1 200");
        }
    }

private:
    const Connection m_connection;
    SSL* const m_session;
    bool m_isOpen = false;
};

/// What a client says first. It costs the service a signature, and who repeats it nothing.
std::string greeting()
{
    SSL* const session = SSL_new(clientContext());
    SSL_set_bio(session, BIO_new(BIO_s_mem()), BIO_new(BIO_s_mem()));
    SSL_connect(session);
    char* data = nullptr;
    const long size = BIO_get_mem_data(SSL_get_wbio(session), &data);
    std::string text(data, static_cast<std::size_t>(size));
    SSL_free(session);
    return text;
}

struct Times
{
    std::vector<double> kept;      ///< milliseconds of requests on a kept connection
    std::vector<double> newcomers; ///< of a connection and the first request
    int lost = 0;
};

Times measure(SecureConnection& somebody)
{
    Times times;
    for (int i = 0; i < Requests; ++i) {
        const double begin = now();
        times.lost += somebody.isServed() ? 0 : 1;
        times.kept.push_back((now() - begin) * 1000);
        ::usleep(1000);
    }
    for (int i = 0; i < Newcomers; ++i) {
        const double begin = now();
        times.lost += SecureConnection(Somebody, true).isServed() ? 0 : 1;
        times.newcomers.push_back((now() - begin) * 1000);
        ::usleep(1000);
    }
    return times;
}

/// Each attack goes on in threads of its own until it is stopped, and counts what it does.
using Attack = std::function<void(const std::stop_token&, std::atomic<int>&)>;

void dawdle(const std::stop_token& stop, std::atomic<int>& count)
{
    std::list<Connection> slow;
    const std::string hello = greeting();
    for (std::size_t at = 0; !stop.stop_requested(); at = (at + 1) % hello.size()) {
        while (slow.size() < Dawdlers / 2)
            slow.emplace_back(Attacker, true);
        for (const auto& client : slow)
            count += client.say(hello.substr(at, 1)) ? 1 : 0;
        ::usleep(50'000);
    }
}

void changeKeys(const std::stop_token& stop, std::atomic<int>& count)
{
    while (!stop.stop_requested()) {
        const SecureConnection client(Attacker, true);
        while (client.isOpen() && !stop.stop_requested() && client.changeKey())
            ++count;
    }
}

void greet(const std::stop_token& stop, std::atomic<int>& count)
{
    const std::string hello = greeting();
    while (!stop.stop_requested()) {
        std::list<Connection> clients;
        for (int i = 0; i < 50; ++i)
            clients.emplace_back(Attacker, true).say(hello);
        for (const auto& client : clients)
            count += client.hear() ? 1 : 0;
    }
}

void connectOnly(const std::stop_token& stop, std::atomic<int>& count)
{
    while (!stop.stop_requested()) {
        Connection(Attacker, true);
        ++count;
    }
}

void reportAttack(const char* what, const Times& alone, const Times& beside, double rate)
{
    report(text("request beside %s, of one without", what), median(beside.kept) / median(alone.kept), "x", {2, 1.5},
           text("%.2f / %.2f ms, worst %.1f ms; %.0f a second", median(beside.kept), median(alone.kept),
                largest(beside.kept), rate));
    report(text("newcomer beside %s", what), median(beside.newcomers) / median(alone.newcomers), "x", {2, 1.5},
           text("%.2f / %.2f ms, worst %.1f ms", median(beside.newcomers), median(alone.newcomers),
                largest(beside.newcomers)));
    report(text("requests lost beside %s", what), beside.lost, "", {0, 0}, text("of %d", Requests + Newcomers));
}

std::vector<std::jthread> start(const Attack& attack, std::atomic<int>& count)
{
    std::vector<std::jthread> threads;
    for (int i = 0; i < 2; ++i)
        threads.emplace_back([&](const std::stop_token& stop) { attack(stop, count); });
    ::usleep(300'000);
    return threads;
}

void run(const std::string& service, const std::string& folder)
{
    Process certificate({"/usr/bin/env", "openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout",
                         folder + "/key.pem", "-out", folder + "/certificate.pem", "-subj", "/CN=local.localhost",
                         "-addext", "subjectAltName=DNS:local.localhost"});
    certificate.wait();
    Process process({service, "--port", "0", "--data", folder + "/data.sqlite", "--tls-certificate",
                     folder + "/certificate.pem", "--tls-key", folder + "/key.pem"});
    std::string password;
    std::string line = process.readLine();
    for (; !line.empty() && !line.starts_with("https://"); line = process.readLine()) {
        if (line.find("  password  ") == 0)
            password = line.substr(12);
    }
    if (line.empty())
        throw std::runtime_error("the service did not start");
    s_port = static_cast<std::uint16_t>(std::stoi(line.substr(line.rfind(':') + 1)));
    const std::string pair = "me@local.localhost:" + password;
    std::vector<unsigned char> encoded(pair.size() * 2 + 4);
    const int size = EVP_EncodeBlock(encoded.data(), reinterpret_cast<const unsigned char*>(pair.data()),
                                     static_cast<int>(pair.size()));
    s_credentials.assign(encoded.begin(), encoded.begin() + size);

    SecureConnection somebody(Somebody);
    measure(somebody); // warms it up
    for (const auto& [what, attack] : {std::pair<const char*, Attack>{"200 slow clients", dawdle},
                                       {"endless changes of keys", changeKeys},
                                       {"a flood of handshakes", greet},
                                       {"a flood of connections", connectOnly}}) {
        const Times alone = measure(somebody);
        std::atomic<int> count = 0;
        const auto threads = start(attack, count);
        const double begin = now();
        const Times beside = measure(somebody);
        reportAttack(what, alone, beside, count / (now() - begin));
    }

    std::atomic<int> count = 0;
    auto threads = start(dawdle, count);
    for (const auto& attack : {Attack(changeKeys), Attack(greet)}) {
        for (auto& thread : start(attack, count))
            threads.push_back(std::move(thread));
    }
    const double begin = now();
    ::kill(process.id(), SIGTERM);
    process.wait();
    report("end of the attacked service", now() - begin, "s", {2, 0.5}, "");
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fputs("usage: bench-attack SERVICE\n", stderr);
        return 64;
    }
    ::signal(SIGPIPE, SIG_IGN);
    rlimit descriptors{};
    ::getrlimit(RLIMIT_NOFILE, &descriptors);
    descriptors.rlim_cur = descriptors.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &descriptors);
    const auto folder = std::filesystem::temp_directory_path() / ("bench-attack-" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder);
    int status = 0;
    try {
        run(argv[1], folder);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bench-attack: %s\n", failure.what());
        status = 1;
    }
    std::filesystem::remove_all(folder);
    return status;
}
