#include "ServiceProgram.h"

#include "Credentials.h"
#include "Peer.h"

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <map>
#include <sys/resource.h>
#include <sys/stat.h>

namespace localservice {

namespace {

constexpr const char* Help = R"(Usage: quillon-service [options]

A timesheet service with its own data file, for one computer or a small team.

  --port N                listen on this port (default 8787; 0 picks a free one)
  --bind ADDRESS          listen on this address (default 127.0.0.1 together with
                          ::1); 0.0.0.0 and :: mean all addresses. Addresses
                          beyond this machine require TLS
  --tls-certificate FILE  use TLS with this certificate (PEM, with its chain)
  --tls-key FILE          the key of the certificate (PEM, without a passphrase)
  --data FILE             keep the data in this file
                          (default $XDG_DATA_HOME/Quillon/LocalService.sqlite)
  --account NAME          the account to create on first use (default local);
                          people reach it at NAME.your.domain
  --first-email ADDRESS   the email address of its owner on first use
  --restore [COPY]        put a copy of the data in their place, and exit: one of
                          the daily copies by its name, or any file. What it
                          replaces is kept as a copy. Without COPY: list them
  --reset-password        set a new password for the owner, print it, and go on
  --help                  show this and exit
  --version               show the version and exit

On first use the account is created with a few sample projects, and its owner's email address and password are
printed once. When the service is ready, it prints its address on a line of its own. SIGINT and SIGTERM stop it; with
TLS, SIGHUP reloads the certificate and the key. Each day the data are copied to the folder beside them whose name ends
in "-backups"; the last 14 copies are kept.
)";

constexpr std::uint16_t DefaultPort = 8787;

std::string defaultDataFile()
{
    const char* data = std::getenv("XDG_DATA_HOME");
    const char* home = std::getenv("HOME");
    const std::string folder = data && *data ? data : std::string(home ? home : ".") + "/.local/share";
    return folder + "/Quillon/LocalService.sqlite";
}

/// Whether it can be the first label of a host (RFC 1123) and cannot be taken for part of a bare address.
bool isAccountName(const std::string& name)
{
    const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    const auto isAllowed = [&](char c) { return isLetter(c) || (c >= '0' && c <= '9') || c == '-'; };
    return name.size() <= 63 && std::all_of(name.begin(), name.end(), isAllowed) &&
           std::any_of(name.begin(), name.end(), isLetter) && name.front() != '-' && name.back() != '-';
}

/// On one line. Names chosen by others, such as a file's, must not control the terminal.
void complain(const std::string& what)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string line = "quillon-service: ";
    for (std::size_t i = 0; i < what.size(); ++i) {
        const auto byte = static_cast<unsigned char>(what[i]);
        // U+0080 to U+009F are control characters as well, and 0xC2 alone is not a character.
        const bool second = byte == 0xC2 && i + 1 < what.size() && static_cast<unsigned char>(what[i + 1]) < 0xA0;
        if (byte < 0x20 || byte == 0x7F || second) {
            const auto number = second ? static_cast<unsigned char>(what[++i]) : byte;
            line += {'\\', 'x', digits[number >> 4U], digits[number & 15U]};
        } else {
            line += what[i];
        }
    }
    std::cerr << line << std::endl;
}

void warnOfExposedKey(const std::string& file)
{
    struct stat status
    {
    };
    if (::stat(file.c_str(), &status) == 0 && (status.st_mode & S_IROTH))
        complain("everybody on this machine can read the key in " + file);
}

/// As many as are allowed: each connection takes one, and the default is too few for a team.
void openManyFiles()
{
    rlimit descriptors{};
    if (::getrlimit(RLIMIT_NOFILE, &descriptors) == 0) {
        descriptors.rlim_cur = descriptors.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &descriptors);
    }
}

} // namespace

Result<void> ServiceProgram::readOptions()
{
    m_options.port = DefaultPort;
    m_options.dataFile = defaultDataFile();
    std::string port;
    const std::map<std::string, std::string*> values{{"--port", &port},
                                                     {"--bind", &m_options.address},
                                                     {"--data", &m_options.dataFile},
                                                     {"--tls-certificate", &m_tls.certificate},
                                                     {"--tls-key", &m_tls.key},
                                                     {"--account", &m_account},
                                                     {"--first-email", &m_firstEmail}};
    for (std::size_t i = 0; i < m_arguments.size(); ++i) {
        std::string name = m_arguments[i];
        std::optional<std::string> value;
        if (const auto equals = name.find('='); equals != std::string::npos) {
            value = name.substr(equals + 1);
            name.resize(equals);
        }
        if (name == "--reset-password" && !value) {
            m_resetPassword = true;
            continue;
        }
        if (name == "--restore") {
            const bool isNext = !value && i + 1 < m_arguments.size() && !m_arguments[i + 1].starts_with("--");
            m_restore = isNext ? m_arguments[++i] : value.value_or("");
            continue;
        }
        const auto option = values.find(name);
        if (option == values.end())
            return tl::unexpected("unknown option " + m_arguments[i]);
        if (!value && ++i < m_arguments.size())
            value = m_arguments[i];
        if (!value || value->empty())
            return tl::unexpected(name + " needs a value");
        *option->second = *value;
    }
    if (const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), m_options.port);
        !port.empty() && (error != std::errc{} || end != port.data() + port.size()))
        return tl::make_unexpected("--port needs a number from 0 to 65535");
    return checkOptions();
}

Result<void> ServiceProgram::checkOptions()
{
    const std::string wanted = m_options.address;
    if (wanted == "localhost")
        m_options.address = "127.0.0.1";
    if (wanted.size() > 2 && wanted.front() == '[' && wanted.back() == ']')
        m_options.address = wanted.substr(1, wanted.size() - 2);
    if (!isNumericAddress(m_options.address))
        return tl::make_unexpected("--bind needs an address in numbers, such as 192.0.2.7, 0.0.0.0 or ::");
    if (m_tls.certificate.empty() != m_tls.key.empty())
        return tl::make_unexpected("--tls-certificate and --tls-key go together");
    if (m_tls.key.empty() && !Service::isLoopback(m_options.address))
        return tl::unexpected("--bind " + wanted +
                              " needs --tls-certificate and --tls-key: without encryption the service stays on this"
                              " machine");
    if (!isAccountName(m_account))
        return tl::make_unexpected("--account needs a name of letters, digits and hyphens, such as team");
    if (m_firstEmail.empty())
        m_firstEmail = "me@" + m_account + ".localhost";
    if (const auto at = m_firstEmail.find('@'); at == 0 || at >= m_firstEmail.size() - 1)
        return tl::make_unexpected("--first-email needs an email address");
    return {};
}

Result<void> ServiceProgram::openTls()
{
    if (m_tls.key.empty())
        return {};
    auto tls = Tls::open(m_tls);
    if (!tls)
        return tl::unexpected(tls.error());
    m_options.tls = std::move(*tls);
    warnOfExposedKey(m_tls.key);
    if (!m_options.tls->hostOf(m_account))
        complain("the certificate names no host that begins with \"" + m_account +
                 ".\": people cannot reach the account by a trusted name");
    return {};
}

Result<bool> ServiceProgram::prepareAccount(Service& service)
{
    const auto database = service.database();
    if (!database)
        return tl::unexpected(database.error());
    auto sample = (*database)->ensureSampleAccount(m_firstEmail, m_account);
    if (!sample)
        return tl::unexpected(sample.error());
    if (!sample->password && (m_resetPassword || !sample->hasPassword)) {
        sample->password = randomPassword();
        if (!sample->password)
            return tl::make_unexpected("no random numbers are available for a password");
        if (auto set = (*database)->setPassword(m_account, sample->email, *sample->password); !set)
            return tl::unexpected(set.error());
    }
    // Only its hash is kept, so it is shown now or never.
    if (sample->password)
        std::cout << "Sign in to the account \"" << m_account << "\" with\n  email     " << sample->email
                  << "\n  password  " << *sample->password << std::endl;
    return sample->password.has_value();
}

void ServiceProgram::tellAddress(std::uint16_t port, bool passwordShown) const
{
    const auto& tls = m_options.tls;
    const std::string scheme = tls ? "https://" : "http://";
    const auto named = tls ? tls->hostOf(m_account) : std::nullopt;
    const std::string numbers = urlHost(m_options.address) + ":" + std::to_string(port);
    const std::string host = named ? *named + ":" + std::to_string(port) : numbers;
    // Flushed at once, for scripts that wait for the address.
    std::string text;
    if (passwordShown) {
        const std::string domain =
            (named ? named->substr(m_account.size()) : ".localhost") + ":" + std::to_string(port);
        text += "  browser   " + scheme + host + "/\n  Quillon   account \"" + m_account + "\", with ";
        text += tls ? "{" : "{\"QuillonLocalDebug\": true, ";
        text += tls ? "\"QuillonServiceDomain\": \"" : "\"QuillonDevelopmentDomain\": \"";
        text += domain + "\"} in Quillon/Info.json\n";
    }
    std::cout << text << scheme << host << std::endl;
}

void ServiceProgram::reloadCertificate() const
{
    if (const auto read = m_options.tls->reload(); !read)
        complain(read.error() + "; still using the previous certificate");
    else
        std::cout << "certificate and key reloaded" << std::endl;
    warnOfExposedKey(m_tls.key);
}

int ServiceProgram::restore() const
{
    Backups backups(m_options.dataFile);
    if (m_restore->empty()) {
        const auto copies = backups.all();
        if (copies.empty())
            std::cout << "There are no copies in " << backups.folder() << std::endl;
        for (const auto& copy : copies)
            std::cout << copy.name << "  " << sizeText(copy.size) << "  " << dayInWords(localDay(copy.made)) << ", "
                      << clockText(localMinutes(copy.made)) << (copy.replaced ? ", replaced by an older one" : "")
                      << std::endl;
        return 0;
    }
    const Seconds now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    const auto kept = backups.restore(*m_restore, now);
    if (!kept) {
        complain(kept.error());
        return 1;
    }
    std::cout << "Restored " << *m_restore << "." << std::endl;
    if (!kept->empty())
        std::cout << "What was there before is " << *kept << "." << std::endl;
    return 0;
}

int ServiceProgram::run()
{
    for (const auto& argument : m_arguments) {
        if (argument == "--help") {
            std::cout << Help;
            return 0;
        }
        if (argument == "--version") {
            std::cout << "quillon-service " QUILLON_VERSION "\n";
            return 0;
        }
    }
    if (const auto read = readOptions(); !read) {
        complain(read.error());
        return 2;
    }

    if (m_restore)
        return restore();

    // Blocked before the first thread is started, so that all inherit it and only sigwait sees the signals.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    if (!m_tls.key.empty())
        sigaddset(&signals, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    // Before the data file, so that a failing start does not show the password of the first use.
    if (const auto opened = openTls(); !opened) {
        complain(opened.error());
        return 1;
    }
    m_options.tellTrouble = [file = m_options.dataFile](const std::string& sentence) {
        complain(file + ": " + (sentence.empty() ? "changes are saved again" : sentence));
    };
    m_options.tellBackupTrouble = [](const std::string& sentence) {
        complain(sentence.empty() ? "copies of the data are made again" : sentence);
    };
    // A folder named on the command line is the person's own; this one is ours, and may already exist.
    if (m_options.dataFile == defaultDataFile())
        ::chmod(std::filesystem::path(m_options.dataFile).parent_path().c_str(), 0700);
    openManyFiles();
    Service service(m_options);
    const auto prepared = prepareAccount(service);
    const auto port = prepared ? service.start() : Result<std::uint16_t>(tl::unexpected(prepared.error()));
    if (!port) {
        complain(port.error());
        return 1;
    }
    tellAddress(*port, *prepared);

    int signal = 0;
    while (sigwait(&signals, &signal) == 0 && signal == SIGHUP)
        reloadCertificate();
    service.stop();
    return 0;
}

} // namespace localservice
