#pragma once

#include "Ledger.h"

#include "app/WrenfoldMenulet.h"
#include "localservice/Service.h"
#include "support/ScriptedPeer.h"
#include "support/TestEnvironment.h"

#include <array>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <span>

class FakeTray;

/// A program with its windows, the service it talks to through a peer that does harm, and a second client of the same
/// accounts. Time passes only in steps; after each of them everything that must always hold is compared.
class World
{
public:
    /// One thing that a person does, or that happens: "wait 30".
    struct Step
    {
        std::string name;
        int a = 0;
        int b = 0;
    };
    /// What a walk likes to do. A seed picks some, so that each walk has a character.
    enum Mood
    {
        Work,
        Network,
        Elsewhere,
        Clock,
        Away,
        Restarts,
        Accounts,
        Moods
    };
    struct Command
    {
        const char* name;
        Mood mood;
        int weight;
        int a; ///< numbers below this one
        int b;
        void (World::*perform)(int a, int b);
    };
    static std::span<const Command> commands();

    /// Where the status item is: in memory, or in panels that come and go.
    enum class Item
    {
        InMemory,
        InPanels
    };
    explicit World(Item item = Item::InMemory);
    ~World();

    /// Takes the step. What no longer holds afterwards; empty: all does.
    std::string take(const Step& step);

    /// Another panel appears, or the one that is there goes.
    void changePanel(bool there);
    /// How often a minute something in the process gets to work, by the program's clock and by the machine's.
    double wakeUps();

    int requests = 0;  ///< of the program, so far
    int repeated = 0;  ///< toggles that the retry has turned back
    int questions = 0; ///< about idle time, answered

private:
    using Seconds = Ledger::Seconds;
    using Id = Ledger::Id;
    using Wish = Ledger::Wish;

    static constexpr double IdleThreshold = 600; ///< seconds
    static constexpr std::array Zones{"UTC",          "Europe/Berlin",     "America/New_York",
                                      "Asia/Kolkata", "America/Sao_Paulo", "Pacific/Auckland"};
    /// Ordinary days, and those on which clocks change or years end.
    static constexpr std::array<Ledger::Seconds, 6> Moments{1358240400, 1362899700, 1382833500,
                                                            1356990900, 1541298600, 1330473600};

    static std::string str(const QString& text);
    static void setZone(const char* zone);

    /// The second one records start and end times.
    struct Account
    {
        std::string name;
        Id project = 0;
        Id tasks[2]{};
    };
    /// What a save of the sheet sent, which is in the sheet again unless the service took it.
    struct Typed
    {
        int minutes = -1;
        bool notes = false;
        Seconds updated = 0; ///< the entry, as it was known
    };
    /// An entry as the service last reported it to the program.
    struct Told
    {
        Ledger::Entry entry;
        Seconds when = 0;
        std::optional<Seconds> uptime{}; ///< none: to an earlier run
        bool edited = false;             ///< here, since then
    };
    struct Sent
    {
        support::Request request;
        Seconds when = 0;
        Seconds uptime = 0;
        int passedOn = 1;
        bool delivered = true;
        int status = 0; ///< of a reply that the peer made up
    };
    struct Expected
    {
        std::string target;
        Wish wish;
        double hours = -1; ///< that a correction must send
    };
    /// The rules of idle time once more.
    struct Absence
    {
        std::optional<double> since;
        double reported = 0;
        std::size_t sleeps = 0; ///< of workers, until the first report
    };

    // Steps.
    void startTimer(int task, int minutes);
    void pressItem(int, int);
    void pressRow(int row, int);
    void deleteRow(int row, int);
    void openSheet(int row, int);
    void typeNotes(int letter, int);
    void typeHours(int minutes, int);
    void saveSheet(int, int);
    void cancelSheet(int, int);
    void turnPage(int where, int);
    void toggleTimesheet(int, int);
    void toggleNewTimer(int, int);
    void wait(int seconds, int);
    void leave(int minutes, int);
    void answer(int button, int);
    void sleep(int minutes, int);
    void setClock(int by, int back);
    void toMidnight(int, int);
    void travel(int zone, int);
    void begin(int moment, int);
    void elsewhereStart(int minutes, int);
    void elsewhereToggle(int entry, int);
    void elsewhereEdit(int entry, int minutes);
    void elsewhereDelete(int entry, int);
    void lock(int entry, int on);
    void archive(int on, int);
    void rename(int name, int);
    void disturb(int fault, int count);
    void stall(int, int);
    void release(int, int);
    void network(int on, int);
    void serve(int on, int);
    void quit(int, int);
    void kill(int, int);
    void spoilStore(int how, int);
    void useAccount(int which, int);
    void calm(int, int);

    // The program.
    void start();
    void end(bool killed);
    void settle();
    void pass(std::chrono::milliseconds time);
    void watchIdle();
    void checkIdle();
    void reportIdle(double seconds);
    timesheet::TimesheetController* timesheet() const { return m_menulet->timesheetController(); }
    timesheet::TimesheetController& openTimesheet();
    bool isEditing() const;
    bool isStillTyped(Id id) const; ///< by a save that has not been answered, or failed
    bool recordsTimes() const { return m_account % 2 == 1; }
    model::DayEntry* rowAt(int row) const;
    bool asksAboutIdleTime() const;

    // The service.
    std::optional<support::Reply> fate(const support::Request& request);
    void startService();
    Id entryAt(int index) const;
    void doElsewhere(const Wish& wish, const QString& target, const QString& fields = {});
    Seconds now() const;
    Seconds uptime() const;

    // What must hold.
    void expect(const Wish& wish);
    void absorb();
    void tell(const Sent& sent, Id id);
    void compareService();
    void compareWindows();
    void compareStore();
    void compareFace();
    void compareHandles();
    void fail(const std::string& what);

    support::TestEnvironment m_environment;
    std::unique_ptr<platform::StatusItem> m_item; ///< null: in memory
    std::unique_ptr<FakeTray> m_panel;
    std::vector<Account> m_accounts;
    std::unique_ptr<localservice::Service> m_service;
    std::uint16_t m_port = 0;
    std::unique_ptr<support::ScriptedPeer> m_peer;
    std::unique_ptr<platform::Run> m_run;
    std::unique_ptr<app::WrenfoldMenulet> m_menulet;
    std::unique_ptr<platform::TimeSource::Timer> m_idleCheck;

    Ledger m_ledger;
    std::map<Id, Told> m_told;
    std::deque<Expected> m_expected;
    std::optional<Sent> m_last; ///< change that the program has sent
    Expected m_lastExpected;
    Absence m_absence;
    bool m_asking = false;
    int m_account = 0;
    int m_typedMinutes = -1;
    bool m_typedNotes = false;
    bool m_cameBack = false; ///< both, with the sheet
    std::map<Id, Typed> m_typed;
    bool m_storeSpoilt = false; ///< what it knew may be gone with it
    Seconds m_clocksAgree = 0;  ///< the uptime from which windows show the hours by the clock again
    std::size_t m_sleeps = 0;
    int m_handles = 0;
    std::string m_wrong;

    std::mutex m_mutex; ///< guards what the peer's thread uses
    std::condition_variable m_changed;
    std::vector<Sent> m_log;
    int m_fault = 0;
    int m_faults = 0;
    int m_program = 0;
    bool m_stalled = false;
    bool m_serving = false;
};
