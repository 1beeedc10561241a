#include "Service.h"

#include "Api.h"
#include "HttpServer.h"
#include "PasswordSignIn.h"
#include "Storage.h"
#include "pages/Site.h"

#include <arpa/inet.h>
#include <mutex>
#include <netinet/in.h>

namespace localservice {

namespace {

/// "localhost" stands for both loopback addresses, and a browser may try either first: a program listening on the other
/// one would get what is meant for us.
std::vector<std::string> addressesFor(const std::string& address)
{
    if (address == "127.0.0.1")
        return {address, "::1"};
    if (Service::isLoopback(address) && address.find(':') != std::string::npos)
        return {address, "127.0.0.1"};
    return {address};
}

} // namespace

class Service::State
{
public:
    explicit State(Options options)
        : m_options(std::move(options)),
          m_clock(m_options.clock ? m_options.clock : [] { return std::chrono::system_clock::now(); }),
          m_backups(m_options.dataFile, m_clock, m_options.tellBackupTrouble),
          m_server([this](const Request& request) { return answer(request); }, HttpServer::Limits(),
                   [this](const Request& request) { return m_site->mayUpload(request); })
    {
    }

    Result<Database*> database()
    {
        const std::lock_guard lock(m_mutex);
        if (!m_database) {
            FileTrouble trouble{m_options.tellTrouble};
            if (!m_options.ownerPassword.empty())
                trouble.stop = "quit Quillon";
            auto opened = Database::open(m_options.dataFile, std::move(trouble));
            if (!opened)
                return tl::unexpected(opened.error());
            m_database = std::move(*opened);
            m_signIn = std::make_unique<PasswordSignIn>(m_database->storage(), m_clock);
            m_api = std::make_unique<Api>(m_database->storage(), m_clock, *m_signIn, m_options.ownerPassword);
            m_site =
                std::make_unique<Site>(m_database->storage(), m_clock, *m_signIn,
                                       Site::Options{.withinProgram = !m_options.ownerPassword.empty(),
                                                     .signInLinks = !m_options.tls && isLoopback(m_options.address),
                                                     .backups = &m_backups});
        }
        return m_database.get();
    }

    Result<std::uint16_t> start()
    {
        if (!m_options.tls && !isLoopback(m_options.address))
            return tl::unexpected("refusing to listen on " + m_options.address +
                                  ": without encryption only loopback addresses are safe");
        if (const auto opened = database(); !opened)
            return tl::unexpected(opened.error());
        auto port = m_server.start(addressesFor(m_options.address), m_options.port, m_options.tls);
        if (port)
            m_backups.look();
        const std::lock_guard lock(m_mutex);
        m_port = port.value_or(0);
        return port;
    }

    std::string scheme() const { return m_options.tls ? "https" : "http"; }

    void stop()
    {
        m_server.stop();
        m_backups.finish();
    }

    BackupState backups()
    {
        BackupState state{m_backups.copies().folder(), {}, m_backups.problem()};
        for (const auto& copy : m_backups.copies().all()) {
            if (!copy.replaced && !state.latest)
                state.latest = copy;
        }
        return state;
    }

    std::uint16_t port() const
    {
        const std::lock_guard lock(m_mutex);
        return m_port;
    }

    std::string signInLink(const std::string& subdomain, const std::string& email, const std::string& target)
    {
        return database() ? m_site->signInLink(subdomain, email, target) : target;
    }

private:
    Reply answer(const Request& request)
    {
        m_backups.look();
        return Site::isAskedBy(request) ? m_site->answer(request) : m_api->answer(request);
    }

    const Options m_options;
    const Clock m_clock;
    mutable std::mutex m_mutex;
    std::unique_ptr<Database> m_database;
    std::unique_ptr<PasswordSignIn> m_signIn;
    std::unique_ptr<Api> m_api;
    std::unique_ptr<Site> m_site;
    std::uint16_t m_port = 0;
    DailyBackups m_backups;
    // Last, so that its threads have ended before what they use is destroyed.
    HttpServer m_server;
};

bool Service::isLoopback(const std::string& address)
{
    in_addr four{};
    if (::inet_pton(AF_INET, address.c_str(), &four) == 1)
        return ntohl(four.s_addr) >> 24U == 127;
    in6_addr six{};
    return ::inet_pton(AF_INET6, address.c_str(), &six) == 1 && IN6_IS_ADDR_LOOPBACK(&six);
}

Service::Service(Options options) : m_state(std::make_unique<State>(std::move(options))) {}

Service::~Service() = default;

Result<std::uint16_t> Service::start()
{
    return m_state->start();
}

void Service::stop()
{
    m_state->stop();
}

Result<Database*> Service::database()
{
    return m_state->database();
}

Service::BackupState Service::backups() const
{
    return m_state->backups();
}

std::string Service::signInLink(const std::string& subdomain, const std::string& email, const std::string& target) const
{
    return url(subdomain) + m_state->signInLink(subdomain, email, target);
}

std::string Service::url(const std::string& subdomain) const
{
    return m_state->scheme() + "://" + subdomain + ".localhost:" + std::to_string(m_state->port());
}

} // namespace localservice
