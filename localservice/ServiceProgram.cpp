#include "ServiceProgram.h"

#include "Credentials.h"

#include <charconv>
#include <csignal>
#include <cstdlib>
#include <iostream>

namespace localservice {

namespace {

constexpr const char* help = R"(Usage: quillon-service [options]

A timesheet service for one machine, with its own data file.

  --port N          listen on this port (default 8787; 0 takes a free one)
  --bind ADDRESS    listen on this loopback address (default 127.0.0.1)
  --data FILE       keep the data in this file
                    (default $XDG_DATA_HOME/Quillon/LocalService.sqlite)
  --reset-password  give the owner of the account "local" a new password, print it, and go on
  --help            show this and exit
  --version         show the version and exit

On first use the account "local" is made with a few sample projects, and how to sign in is printed once.
The address is printed on a line of its own when the service is ready. SIGINT and SIGTERM stop it.
)";

constexpr const char* subdomain = "local";
constexpr const char* firstEmail = "me@local.localhost";
constexpr std::uint16_t defaultPort = 8787;

std::string defaultDataFile()
{
    const char* data = std::getenv("XDG_DATA_HOME");
    const char* home = std::getenv("HOME");
    const std::string folder = data && *data ? data : std::string(home ? home : ".") + "/.local/share";
    return folder + "/Quillon/LocalService.sqlite";
}

} // namespace

Result<void> ServiceProgram::readOptions()
{
    m_options.port = defaultPort;
    m_options.dataFile = defaultDataFile();
    for (std::size_t i = 0; i < m_arguments.size(); ++i) {
        std::string name = m_arguments[i];
        std::optional<std::string> value;
        if (const auto sign = name.find('='); sign != std::string::npos) {
            value = name.substr(sign + 1);
            name.resize(sign);
        }
        if (name == "--reset-password" && !value) {
            m_resetPassword = true;
            continue;
        }
        if (name != "--port" && name != "--bind" && name != "--data")
            return tl::unexpected("unknown option " + m_arguments[i]);
        if (!value && ++i < m_arguments.size())
            value = m_arguments[i];
        if (!value || value->empty())
            return tl::unexpected(name + " needs a value");
        if (name == "--bind")
            m_options.address = *value == "localhost" ? "127.0.0.1" : *value;
        else if (name == "--data")
            m_options.dataFile = *value;
        else if (const auto [end, error] =
                     std::from_chars(value->data(), value->data() + value->size(), m_options.port);
                 error != std::errc{} || end != value->data() + value->size())
            return tl::make_unexpected("--port needs a number from 0 to 65535");
    }
    if (!Service::isLoopback(m_options.address))
        return tl::make_unexpected("--bind takes a loopback address only: what is sent is not encrypted");
    return {};
}

Result<void> ServiceProgram::prepareAccount(Service& service)
{
    const auto database = service.database();
    if (!database)
        return tl::unexpected(database.error());
    auto sample = (*database)->ensureSampleAccount(firstEmail, subdomain);
    if (!sample)
        return tl::unexpected(sample.error());
    if (!sample->password && (m_resetPassword || !sample->hasPassword)) {
        sample->password = randomPassword();
        if (!sample->password)
            return tl::make_unexpected("there are no random numbers for a password");
        if (auto set = (*database)->setPassword(subdomain, sample->email, *sample->password); !set)
            return set;
    }
    // Only its hash is kept, so it is shown here or never.
    if (sample->password)
        std::cout << "Sign in to the account \"" << subdomain << "\" with\n  e-mail    " << sample->email
                  << "\n  password  " << *sample->password << std::endl;
    return {};
}

int ServiceProgram::run()
{
    for (const auto& argument : m_arguments) {
        if (argument == "--help") {
            std::cout << help;
            return 0;
        }
        if (argument == "--version") {
            std::cout << "quillon-service " QUILLON_VERSION "\n";
            return 0;
        }
    }
    if (const auto read = readOptions(); !read) {
        std::cerr << "quillon-service: " << read.error() << std::endl;
        return 2;
    }

    // Blocked before the first thread is made, so that all of them inherit it and only sigwait sees the signals.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    Service service(m_options);
    const auto prepared = prepareAccount(service);
    const auto port = prepared ? service.start() : Result<std::uint16_t>(tl::unexpected(prepared.error()));
    if (!port) {
        std::cerr << "quillon-service: " << port.error() << std::endl;
        return 1;
    }
    const bool six = m_options.address.find(':') != std::string::npos;
    std::cout << "http://" << (six ? "[" : "") << m_options.address << (six ? "]" : "") << ":" << *port << std::endl;

    int signal = 0;
    sigwait(&signals, &signal);
    service.stop();
    return 0;
}

} // namespace localservice
