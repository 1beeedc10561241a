#include "Facade.h"

#include "BareClient.h"
#include "BareImport.h"
#include "Home.h"
#include "Report.h"

#include "app/WrenfoldMenulet.h"
#include "model/Company.h"
#include "model/DayEntry.h"
#include "model/Project.h"
#include "model/Task.h"
#include "platform/InfoDictionary.h"
#include "platform/Run.h"
#include "platform/SystemEnvironment.h"
#include "service/QuillonApi.h"
#include "settings/Keys.h"
#include "settings/QuillonPreferences.h"
#include "settings/UserDefaults.h"
#include "store/Context.h"
#include "timesheet/TimesheetWindow.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QTimer>

#include <filesystem>
#include <stdexcept>

namespace bench {

using namespace Qt::StringLiterals;

namespace {

constexpr double LongestWait = 60;
constexpr double RestTime = 0.03;

template <class Condition>
void waitUntil(Condition condition)
{
    for (const double until = now() + LongestWait; !condition();) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        if (now() > until)
            throw std::runtime_error("the program did not answer in time");
    }
}

platform::InfoDictionary informationFor(const std::string& port)
{
    platform::InfoDictionary info = platform::InfoDictionary::load({}).value_or(platform::InfoDictionary());
    info.set("QuillonLocalDebug"_L1, true);
    info.set("QuillonDevelopmentDomain"_L1, ".localhost:"_L1 + QString::fromStdString(port));
    return info;
}

/// The running program in this process: its own store, signed in, with a real status item. Its timesheet exists but is
/// hidden, and the first steps are off: the cost of opening windows is measured elsewhere.
class Program
{
public:
    explicit Program(const std::string& port)
    {
        qputenv("XDG_CONFIG_HOME", m_folder.filePath(u"config"_s).toUtf8());
        qputenv("XDG_DATA_HOME", m_folder.filePath(u"data"_s).toUtf8());
        m_run.emplace(platform::systemEnvironment(informationFor(port)));
        settings::QuillonPreferences::sharedPreferences().keepTimeHere(
            {QString::fromLatin1(Email), QString::fromLatin1(Password), QString::fromLatin1(AccountName),
             "http://"_L1 + QString::fromLatin1(AccountName) + ".localhost:"_L1 + QString::fromStdString(port)});
        settings::UserDefaults::standardUserDefaults().setBool(settings::QuillonFirstStepsDoneKey, true);
        menulet.emplace();
        menulet->showStatusItem();
        menulet->showTimesheetWindow(nullptr);
        menulet->timesheetController()->window().close(); // its key hides it only once it has the keyboard
        menulet->awakeFromNib();
    }

    service::QuillonApi& api() { return service::QuillonApi::sharedApi(); }
    std::string storeFile() const { return m_folder.filePath(u"data/Quillon/QuillonX.sqlite"_s).toStdString(); }

    /// Until nothing is in progress any more.
    void settle()
    {
        waitUntil([this] { return api().operationCount() == 0; });
    }
    /// What came of it has been painted, too: as a click finds the program.
    static void rest()
    {
        for (const double until = now() + RestTime; now() < until;)
            QCoreApplication::processEvents(QEventLoop::AllEvents);
    }

private:
    QTemporaryDir m_folder;
    std::optional<platform::Run> m_run;

public:
    std::optional<app::WrenfoldMenulet> menulet;
};

/// The longest time between two turns of the event loop, which a timer requests every millisecond: by the clock, and in
/// processor time of this thread, which other programs on the machine do not change.
class StallProbe
{
public:
    StallProbe()
    {
        m_timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] {
            const double time = now(), busy = threadTime();
            m_longest = std::max(m_longest, time - m_last);
            m_busiest = std::max(m_busiest, busy - m_lastBusy);
            m_last = time;
            m_lastBusy = busy;
        });
        m_timer.start(1);
    }
    double milliseconds() const { return m_longest * 1000; }
    double busyMilliseconds() const { return m_busiest * 1000; }

private:
    QTimer m_timer;
    double m_last = now();
    double m_longest = 0;
    double m_lastBusy = threadTime();
    double m_busiest = 0;
};

/// Sits between facade and controller and times what passes.
class Relay final : public service::OutcomeReceiver
{
public:
    Relay(service::QuillonApi& api, app::WrenfoldMenulet& menulet) : m_menulet(menulet) { api.setDelegate(this); }

    double mergedAt = 0;
    int failures = 0;

    void mergeRequired(std::shared_ptr<const store::ChangeSet> changes) override
    {
        m_menulet.mergeRequired(std::move(changes));
        if (mergedAt == 0)
            mergedAt = now();
    }
    void startNewTimerDidFailWithError(const std::optional<service::Error>&) override { ++failures; }
    void toggleTimerDidFailWithError(const std::optional<service::Error>&) override { ++failures; }

private:
    app::WrenfoldMenulet& m_menulet;
};

std::string between(const std::string& text, const std::string& before, const std::string& after)
{
    const auto begin = text.find(before) + before.size();
    return text.substr(begin, text.find(after, begin) - begin);
}

} // namespace

void measureStalls(const std::string& port)
{
    struct Stalls
    {
        const char* what;
        std::vector<double> clock, busy;

        void take(const StallProbe& probe)
        {
            clock.push_back(probe.milliseconds());
            busy.push_back(probe.busyMilliseconds());
        }
        void tell() const
        {
            report(text("longest stall while the day is %s", what), largest(busy), " ms", {16.7, 8},
                   text("the worst of %zu in processor time, median %.1f; by the clock median %.1f, worst %.1f ms",
                        busy.size(), median(busy), median(clock), largest(clock)));
        }
    };
    Stalls first{"imported", {}, {}}, again{"fetched again", {}, {}};
    for (int turn = 0; turn < 50; ++turn) {
        Program program(port);
        {
            const StallProbe probe;
            program.settle();
            first.take(probe);
        }
        // As after some use: everything that a window shows is in memory.
        model::Company* company = program.menulet->company();
        if (!company || company->projects().size() != 500)
            throw std::runtime_error("the day was not loaded");
        for (const model::Project* project : company->projects())
            static_cast<void>(project->taskAssignments());
        const StallProbe probe;
        program.api().requestDailyTimesheetForDate(QDate::currentDate(), true);
        program.settle();
        again.take(probe);
    }
    first.tell();
    again.tell();
}

void measureTimerCommands(const std::string& port)
{
    Program program(port);
    program.settle();
    Relay relay(program.api(), *program.menulet);
    model::Company* company = program.menulet->company();
    if (!company || company->projects().empty())
        throw std::runtime_error("the day was not loaded");
    model::Project* project = company->projects().front();
    model::Task* task = project->assignedTasks().front();

    // A copy of the store: each side writes into its own file.
    store::Context* context = program.menulet->managedObjectContext();
    static_cast<void>(context->save());
    QTemporaryDir folder;
    const std::string file = folder.filePath(u"bare.sqlite"_s).toStdString();
    for (const char* suffix : {"", "-wal"})
        std::filesystem::copy_file(program.storeFile() + suffix, file + suffix);
    BareImport store(file);
    BareClient client(port);
    const std::string body = "<request><notes>Bare</notes><project_id>" + project->idString().toStdString() +
                             "</project_id><task_id>" + task->idString().toStdString() + "</task_id></request>";

    const auto timed = [&](auto command) {
        Program::rest(); // for both sides alike: the service sleeps by then
        relay.mergedAt = 0;
        const double before = now();
        command();
        waitUntil([&] { return relay.mergedAt != 0 || relay.failures != 0; });
        const double time = (relay.mergedAt - before) * 1000;
        program.settle();
        if (relay.failures != 0)
            throw std::runtime_error("the service refused a timer");
        return time;
    };
    // Each turn costs four requests of the 36 that the facade starts in a quarter of a minute.
    Pairs measured;
    for (int turn = 0; turn < 8; ++turn) {
        double ours = timed([&] {
            model::DayEntry* entry = model::DayEntry::entryWithDefaults();
            entry->setProject(project);
            entry->setTask(task);
            entry->setNotes(u"Ours"_s);
            program.api().startNewTimer(*entry);
        });
        Program::rest();
        double before = now();
        std::string reply = client.send("/daily/add", body);
        store.storeEntry(reply);
        double bare = (now() - before) * 1000;
        if (turn > 0) {
            measured.ours.push_back(ours);
            measured.bare.push_back(bare);
        }

        program.api().requestDailyTimesheetForDate(QDate::currentDate());
        program.settle();
        model::DayEntry* running = company->mostRecentDayEntry();
        if (!running || !running->isRunning())
            throw std::runtime_error("no timer runs");
        ours = timed([&] { program.api().toggleTimer(*running); });
        const std::string path = "/daily/timer/" + between(reply, "<id>", "</id>");
        Program::rest();
        before = now();
        store.storeEntry(client.send(path));
        bare = (now() - before) * 1000;
        if (turn > 0) {
            measured.ours.push_back(ours);
            measured.bare.push_back(bare);
        }
    }
    report("start and stop to the merged store, of bare", measured.ratio(), "x", {25, 1.8}, measured.detail("ms"));
}

} // namespace bench
