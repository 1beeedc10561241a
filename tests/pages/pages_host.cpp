// A service for the browser tests: known accounts on a data file of its own, and a clock that moves only when told.
// Takes one command a line on standard input and answers each with one line; ends when the input does.
//
//   fresh          the data file as it was at first, the clock back, no session; answers the port
//   pass SECONDS   the clock goes on
//   link TARGET PERSON ACCOUNT    the address by which a browser of this machine arrives signed in
//   file           the path of the data file

#include "../localservice/Scenario.h"

#include <ctime>
#include <filesystem>
#include <iostream>
#include <sstream>

using namespace localservice;

namespace {

/// What tests/pages/pages.py tells of the accounts is true by this.
void fill(support::TestData data, const std::string& subdomain, bool timestampTimers)
{
    const auto account = Scenario::fill(data, subdomain, timestampTimers);
    const Id ben = data.addPerson({account.id, "ben@example.com", "secret", "Ben", "Okoro", false, 80}).value();
    data.assignPerson(account.website, ben).value();
    const Id harbour = data.addClient(account.id, "Harbour").value();
    const Id boats = data.addProject({harbour, "Boats", "BOAT"}).value();
    data.offerTask(boats, account.design, true).value();
    data.assignPerson(boats, account.person).value();
}

class Host
{
public:
    explicit Host(const std::filesystem::path& folder)
        : m_original(folder / "original.sqlite"), m_file(folder / "service.sqlite")
    {
        const auto data = Database::open(m_original).value();
        fill(support::TestData(*data), "acme", false);
        fill(support::TestData(*data), "clock", true);
        fill(support::TestData(*data), "other", false);
    }

    std::string answer(const std::string& line)
    {
        std::istringstream words(line);
        std::string command;
        std::string value;
        std::string who;
        std::string account;
        words >> command >> value >> who >> account;
        if (command == "fresh")
            return fresh();
        if (command == "link")
            return m_service->signInLink(account, who + "@example.com", value);
        if (command == "file")
            return m_file;
        if (command != "pass")
            return "unknown";
        m_now += std::stoll(value);
        return "ok";
    }

private:
    std::string fresh()
    {
        m_service.reset();
        for (const char* suffix : {"", "-wal", "-shm"})
            std::filesystem::remove(m_file + suffix);
        std::filesystem::remove_all(Backups(m_file).folder());
        std::filesystem::copy_file(m_original, m_file);
        m_now = Scenario::Start;
        m_service = std::make_unique<Service>(Service::Options{
            .dataFile = m_file, .clock = [this] { return std::chrono::system_clock::from_time_t(m_now); }});
        const auto port = m_service->start();
        return port ? std::to_string(*port) : port.error();
    }

    const std::string m_original;
    const std::string m_file;
    std::atomic<std::int64_t> m_now;
    std::unique_ptr<Service> m_service;
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: pages_host FOLDER\n";
        return 64;
    }
    // Central European rules written out, so that no zone files are needed.
    ::setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    ::tzset();
    Host host(argv[1]);
    for (std::string line; std::getline(std::cin, line);)
        std::cout << host.answer(line) << std::endl;
}
