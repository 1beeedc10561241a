// A service for the browser tests: known accounts on a data file of its own, and a clock that moves only when told.
// Takes one command a line on standard input and answers each with one line; ends when the input does.
//
//   fresh          the data file as it was at first, the clock back, no session; answers the port
//   restart        the service ended and started again on its file and port
//   pass SECONDS   the clock goes on
//   link TARGET PERSON ACCOUNT    the address by which a browser of this machine arrives signed in
//   file           the path of the data file

#include "../support/TestData.h"
#include "localservice/Service.h"

#include <atomic>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <sstream>

using namespace localservice;

namespace {

// Tue, 5 Mar 2024 08:15:40 UTC, 9:15 in the accounts' zone.
constexpr std::int64_t Start = 1709626540;

Id person(support::TestData& data, Id account, const std::string& first, const std::string& last, bool admin)
{
    std::string email = first + "@example.com";
    email[0] = static_cast<char>(email[0] | 0x20);
    return data.addPerson({account, email, "secret", first, last, admin, 80}).value();
}

/// What tests/pages/pages.py tells of the accounts is true by this.
void fill(support::TestData data, const std::string& subdomain, const std::string& name, bool timestampTimers)
{
    const Id account = data.addAccount({subdomain, name, timestampTimers, "Europe/Berlin"}).value();
    const Id ann = person(data, account, "Ann", "Lee", true);
    const Id ben = person(data, account, "Ben", "Okoro", false);
    const Id bakery = data.addClient(account, "Bread <& Sons>").value();
    const Id harbour = data.addClient(account, "Harbour").value();
    const Id website = data.addProject({bakery, "Website", "WEB"}).value();
    const Id internal = data.addProject({bakery, "Internal", "", false}).value();
    const Id boats = data.addProject({harbour, "Boats", "BOAT"}).value();
    const Id design = data.addTask(account, "Design", 90).value();
    const Id support = data.addTask(account, "Support").value();
    data.offerTask(website, design, true).value();
    data.offerTask(website, support, false).value();
    data.offerTask(internal, support, false).value();
    data.offerTask(boats, design, true).value();
    for (const Id project : {website, internal, boats})
        data.assignPerson(project, ann).value();
    data.assignPerson(website, ben).value();
}

class Host
{
public:
    explicit Host(std::filesystem::path folder) : m_folder(std::move(folder))
    {
        const auto data = Database::open(original()).value();
        fill(support::TestData(*data), "acme", "Acme & Co", false);
        fill(support::TestData(*data), "clock", "Clockworks", true);
        fill(support::TestData(*data), "other", "Other Ltd", false);
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
        if (command == "restart")
            return run();
        if (command == "link")
            return m_service->signInLink(account, who + "@example.com", value);
        if (command == "file")
            return file();
        if (command != "pass")
            return "unknown";
        m_now += std::stoll(value);
        return "ok";
    }

private:
    std::string original() const { return m_folder / "original.sqlite"; }
    std::string file() const { return m_folder / "service.sqlite"; }

    std::string fresh()
    {
        m_service.reset();
        for (const char* suffix : {"", "-wal", "-shm"})
            std::filesystem::remove(file() + suffix);
        std::filesystem::copy_file(original(), file());
        m_now = Start;
        return run();
    }

    std::string run()
    {
        m_service.reset();
        m_service = std::make_unique<Service>(Service::Options{.dataFile = file(), .port = m_port, .clock = [this] {
                                                                   return std::chrono::system_clock::from_time_t(m_now);
                                                               }});
        const auto port = m_service->start();
        if (!port)
            return port.error();
        m_port = *port;
        return std::to_string(m_port);
    }

    const std::filesystem::path m_folder;
    std::atomic<std::int64_t> m_now{Start};
    std::uint16_t m_port = 0;
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
