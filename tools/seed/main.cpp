// timesheet_seed FILE SCENE
//
// Fills the data file of the built-in service (`quillon --local`) with a sample day: "empty",
// "mixed", "long", "full" or, with start and end times, "times".

#include "Seed.h"

#include "../../tests/support/TestData.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <vector>

using namespace localservice;

namespace {

struct Line
{
    const char* client;
    const char* code;
    const char* project;
    const char* task;
    int minutes;
    std::string notes = {};
    bool running = false;
    std::string lockedReason = {};
    int daysAgo = 0;
};

const std::vector<Line> Mixed{
    {"Harbour Lights", "HL-2", "Website relaunch", "Design", 65, "", true},
    {"Harbour Lights", "HL-2", "Website relaunch", "Programming", 160,
     "Reworked the invoice import so that the totals agree with the ledger, then wrote to the client about the two "
     "rows "
     "that still differ."},
    {"Northfield Dairy", "", "Annual report", "Proof reading", 45, "Second pass"},
    {"Northfield Dairy", "", "Annual report", "Meetings", 90, "", false, "Approved by Robin Lee on Monday"},
    {"My Own Work", "", "Bookkeeping", "Administration", 20, "Receipts of the week"},
    {"Northfield Dairy", "", "Annual report", "Meetings", 30, "Kick-off", false, "", 1},
};

const std::vector<Line> Extremes{
    {"The Honourable Society of Lighthouse Keepers, Pilots and Harbour Masters of the Northern Isles", "LIGHT-2026-09",
     "Restoration of the Great Lamp Room including its lenses, its clockwork and all of the papers",
     "Research in the archives of the county and of the parish, with photographs", 7665,
     "A day of very many hours: what was found in one box alone filled three notebooks.\n\nNext:\n- the plans of "
     "1871\n- "
     "the letters of the second keeper"},
    {"مخبز العرعر", "", "متجر إلكتروني", "تصميم", 75, "ملاحظات من اليمين إلى اليسار مع كلمة English في الوسط.", true},
    {"Café Zoë 🧁", "", "Menü <b>Frühling</b> & more", "Τυπογραφία", 5,
     "Emoji 👩🏽‍💻🏳️‍🌈, combining e\u0301 a\u0308 Z\u0350\u0351\u0352, tab\there, a bell\a and "
     "<i>no "
     "markup</i>."},
    {"日本橋書店", "JP", "秋のカタログ", "校正", 600,
     "長い説明文は行の終わりで折り返されるべきで、途中で切れてはいけません。二行目も読めること。", false,
     "This timesheet was approved and can no longer be changed by the people who booked time on it"},
};

class Catalog
{
public:
    Catalog(Database& database, const SampleAccount& account)
        : m_database(database), m_data(database), m_account(account)
    {
    }

    void add(const Line& line)
    {
        const std::chrono::sys_seconds now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
        const Seconds moment = now.time_since_epoch().count();
        Id& client = m_clients[line.client];
        if (client == 0)
            client = m_data.addClient(m_account.account, line.client).value();
        Id& project = m_projects[{line.client, line.project}];
        if (project == 0) {
            project = m_data.addProject({client, line.project, line.code}).value();
            m_data.assignPerson(project, m_account.person).value();
        }
        Id& task = m_tasks[line.task];
        if (task == 0)
            task = m_data.addTask(m_account.account, line.task).value();
        if (!std::exchange(m_offers[{project, task}], true))
            m_data.offerTask(project, task, true).value();
        seed::add(m_database, m_account.person,
                  {project, task, line.notes, line.minutes, line.running, line.lockedReason,
                   isoDayText(localDay(moment - Seconds{86400} * line.daysAgo))},
                  moment);
    }

private:
    Database& m_database;
    support::TestData m_data;
    const SampleAccount& m_account;
    std::map<std::string, Id> m_clients;
    std::map<std::pair<std::string, std::string>, Id> m_projects;
    std::map<std::string, Id> m_tasks;
    std::map<std::pair<Id, Id>, bool> m_offers;
};

} // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): what goes wrong here ends it, loudly
int main(int argc, char** argv)
{
    const std::string scene = argc == 3 ? argv[2] : "";
    std::vector<Line> lines;
    if (scene == "mixed" || scene == "times") {
        lines = Mixed;
    } else if (scene == "long") {
        lines = Extremes;
    } else if (scene == "full") {
        for (int i = 0; i < 40; ++i) {
            Line line = Mixed[static_cast<std::size_t>(i) % 5];
            line.minutes = 7 + 13 * i % 180;
            line.running = i == 2;
            lines.push_back(line);
        }
    } else if (scene != "empty") {
        std::fputs("usage: timesheet_seed FILE empty|mixed|long|full|times\n", stderr);
        return 2;
    }
    auto data = Database::open(argv[1]);
    const auto account = data ? (*data)->ensureSampleAccount("you@localhost") : tl::unexpected(data.error());
    if (!account) {
        std::fprintf(stderr, "timesheet_seed: %s\n", account.error().c_str());
        return 1;
    }
    seed::removeAll(**data, account->person);
    Catalog catalog(**data, *account);
    for (const Line& line : lines)
        catalog.add(line);
    if (scene == "times")
        seed::recordTimes(**data, account->account);
    return 0;
}
