#include "World.h"

#include "editing/EditTimerController.h"
#include "editing/NewTimerController.h"
#include "model/Company.h"
#include "platform/linux/CarrierSwitch.h"
#include "service/QuillonApi.h"
#include "settings/Keys.h"
#include "settings/QuillonPreferences.h"
#include "settings/UserDefaults.h"
#include "skin/QuillonStatusItemView.h"
#include "support/TestData.h"
#include "tests/platform/FakeTray.h"
#include "timesheet/TimesheetWindow.h"

#include <QApplication>
#include <QEventLoop>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// A clock that counts what falls due.
class Counting final : public platform::TimeSource
{
public:
    explicit Counting(platform::TimeSource& clock) : m_clock(clock) {}
    TimePoint now() const override { return m_clock.now(); }
    Uptime uptime() const override { return m_clock.uptime(); }
    bool sleepFor(Duration duration, std::stop_token stop) override { return m_clock.sleepFor(duration, stop); }
    std::unique_ptr<Timer> repeat(Duration interval, std::function<void()> tick) override
    {
        return m_clock.repeat(interval, [tick = std::move(tick)] {
            ++ticks;
            tick();
        });
    }
    static inline int ticks = 0;

private:
    platform::TimeSource& m_clock;
};

/// Surroundings that outlive the program.
class Lent final : public platform::Environment
{
public:
    Lent(platform::Environment& owner, platform::StatusItem* item) : m_owner(owner), m_time(owner.time()), m_item(item)
    {
    }
    platform::InfoDictionary& info() override { return m_owner.info(); }
    platform::TimeSource& time() override { return m_time; }
    platform::SecretStore& secretStore() override { return m_owner.secretStore(); }
    platform::Reachability& reachability() override { return m_owner.reachability(); }
    platform::AlertPresenter& alerts() override { return m_owner.alerts(); }
    platform::Desktop& desktop() override { return m_owner.desktop(); }
    platform::UpdateFeed& updateFeed() override { return m_owner.updateFeed(); }
    platform::HotKeys& hotKeys() override { return m_owner.hotKeys(); }
    platform::LoginItems& loginItems() override { return m_owner.loginItems(); }
    platform::SystemIdle& systemIdle() override { return m_owner.systemIdle(); }
    platform::SleepMonitor& sleepMonitor() override { return m_owner.sleepMonitor(); }
    platform::StatusItem& statusItem() override { return m_item ? *m_item : m_owner.statusItem(); }

private:
    platform::Environment& m_owner;
    Counting m_time;
    platform::StatusItem* const m_item;
};

} // namespace

std::span<const World::Command> World::commands()
{
    static constexpr Command All[]{
        {"start", Work, 8, 2, 2, &World::startTimer},
        {"item", Work, 8, 1, 1, &World::pressItem},
        {"row", Work, 8, 6, 1, &World::pressRow},
        {"delete", Work, 2, 6, 1, &World::deleteRow},
        {"open", Work, 6, 6, 1, &World::openSheet},
        {"notes", Work, 5, 26, 1, &World::typeNotes},
        {"hours", Work, 3, 600, 1, &World::typeHours},
        {"save", Work, 8, 1, 1, &World::saveSheet},
        {"cancel", Work, 1, 1, 1, &World::cancelSheet},
        {"day", Work, 4, 3, 1, &World::turnPage},
        {"timesheet", Work, 2, 1, 1, &World::toggleTimesheet},
        {"newtimer", Work, 1, 1, 1, &World::toggleNewTimer},
        {"wait", Work, 12, 400, 1, &World::wait},
        {"calm", Work, 8, 1, 1, &World::calm},
        {"fault", Network, 10, 11, 3, &World::disturb},
        {"stall", Network, 3, 1, 1, &World::stall},
        {"release", Network, 4, 1, 1, &World::release},
        {"network", Network, 4, 2, 1, &World::network},
        {"serve", Network, 4, 2, 1, &World::serve},
        {"elsewhere-start", Elsewhere, 4, 100, 1, &World::elsewhereStart},
        {"elsewhere-toggle", Elsewhere, 6, 6, 1, &World::elsewhereToggle},
        {"elsewhere-edit", Elsewhere, 4, 6, 100, &World::elsewhereEdit},
        {"elsewhere-delete", Elsewhere, 2, 6, 1, &World::elsewhereDelete},
        {"lock", Elsewhere, 2, 6, 2, &World::lock},
        {"archive", Elsewhere, 1, 2, 1, &World::archive},
        {"rename", Elsewhere, 1, 9, 1, &World::rename},
        {"clock", Clock, 4, 7200, 2, &World::setClock},
        {"midnight", Clock, 3, 1, 1, &World::toMidnight},
        {"zone", Clock, 3, int(Zones.size()), 1, &World::travel},
        {"begin", Clock, 0, int(Moments.size()), 1, &World::begin},
        {"away", Away, 6, 25, 1, &World::leave},
        {"answer", Away, 8, 2, 1, &World::answer},
        {"sleep", Away, 4, 90, 1, &World::sleep},
        {"quit", Restarts, 3, 1, 1, &World::quit},
        {"kill", Restarts, 4, 1, 1, &World::kill},
        {"store", Restarts, 2, 4, 1, &World::spoilStore},
        {"account", Accounts, 4, 4, 1, &World::useAccount},
    };
    return All;
}

std::string World::str(const QString& text)
{
    return text.toStdString();
}

void World::setZone(const char* zone)
{
    qputenv("TZ", zone);
    ::tzset();
}

World::World(Item item)
{
    if (item == Item::InPanels)
        m_item = std::make_unique<platform::CarrierSwitch>(m_environment.clock);
    setZone("UTC");
    startService();
    support::TestData data(*m_service->database().value());
    for (const char* name : {"acme", "other"}) {
        Account account{name};
        const auto id = data.addAccount({.subdomain = name, .timestampTimers = !m_accounts.empty()}).value();
        const auto person = data.addPerson({id, "ann@example.com", "secret", "Ann", "Lee"}).value();
        account.project = data.addProject({data.addClient(id, "Harbour").value(), "Website"}).value();
        for (int i = 0; i < 2; ++i) {
            account.tasks[i] = data.addTask(id, i == 0 ? "Design" : "Meetings").value();
            data.offerTask(account.project, account.tasks[i], true).value();
        }
        data.assignPerson(account.project, person).value();
        m_accounts.push_back(account);
    }
    m_peer = std::make_unique<support::ScriptedPeer>(m_port);
    m_peer->fate = [this](const support::Request& request) { return fate(request); };
    m_environment.alertPresenter.answer.reset();
    m_environment.information.set("QuillonLocalDebug"_L1, true);
    m_environment.information.set("QuillonDevelopmentDomain"_L1, u".localhost:%1"_s.arg(m_peer->port()));
    m_run = std::make_unique<platform::Run>(std::make_unique<Lent>(m_environment, m_item.get()));
    auto& defaults = settings::UserDefaults::standardUserDefaults();
    defaults.setString(settings::SCQuillonUrlKey, u"acme"_s);
    defaults.setString(settings::SCEmailKey, u"ann@example.com"_s);
    defaults.setInteger(settings::QuillonIdleMinutesThreshold, qint64(IdleThreshold) / 60);
    static_cast<void>(defaults.synchronize());
    m_environment.secrets.store(settings::SCServiceName(), u"ann@example.com"_s, "secret", {});
    start();
    settle();
}

World::~World()
{
    end(false);
    m_peer->stop();
}

std::string World::take(const Step& step)
{
    m_wrong.clear();
    for (const Command& command : commands()) {
        if (step.name == command.name)
            (this->*command.perform)(step.a, step.b);
    }
    settle();
    compareService();
    compareWindows();
    return m_wrong;
}

void World::changePanel(bool there)
{
    m_panel.reset();
    if (there) {
        m_panel = std::make_unique<FakeTray>();
        const auto docked = [this] {
            m_environment.clock.advance(50ms);
            return m_panel->hasDocked() && m_menulet->statusItemView().size() == m_panel->granted();
        };
        if (!QTest::qWaitFor(docked, 20000))
            fail("the item does not go into the panel");
    }
    settle();
}

double World::wakeUps()
{
    constexpr int Minutes = 10;
    constexpr int Seconds = 6;
    const auto switches = [] {
        long sum = 0;
        for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
            std::ifstream status(task.path() / "status");
            long count = 0;
            for (std::string line; std::getline(status, line);) {
                if (std::sscanf(line.c_str(), "voluntary_ctxt_switches: %ld", &count) == 1)
                    sum += count;
            }
        }
        return sum;
    };
    const int ticks = Counting::ticks;
    wait(Minutes * 60, 0);
    const double byClock = double(Counting::ticks - ticks) / Minutes;
    const long before = switches();
    QEventLoop loop;
    QTimer::singleShot(std::chrono::seconds(Seconds), &loop, &QEventLoop::quit);
    loop.exec();
    return byClock + double(std::max(0L, switches() - before - 1)) * 60 / Seconds;
}

// The program

void World::start()
{
    {
        const std::lock_guard lock(m_mutex);
        ++m_program;
    }
    m_changed.notify_all();
    if (!m_run)
        m_run = std::make_unique<platform::Run>(std::make_unique<Lent>(m_environment, m_item.get()));
    m_menulet = std::make_unique<app::WrenfoldMenulet>();
    m_menulet->applicationWillFinishLaunching();
    m_menulet->awakeFromNib();
    m_absence = {};
    m_asking = false;
    m_handles = 0;
    watchIdle();
}

void World::end(bool killed)
{
    namespace fs = std::filesystem;
    const auto folder = [this](const char* name) {
        return fs::path(str(m_environment.folders.path(QLatin1StringView(name))));
    };
    // Whoever is killed writes nothing on the way out.
    if (killed) {
        fs::create_directory(folder("kept"));
        for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME"})
            fs::copy(folder(name), folder("kept") / name, fs::copy_options::recursive);
    }
    m_idleCheck.reset();
    m_menulet.reset();
    m_run.reset();
    m_environment.alertPresenter = {};
    m_environment.alertPresenter.answer.reset();
    if (killed) {
        for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME"}) {
            fs::remove_all(folder(name));
            fs::rename(folder("kept") / name, folder(name));
        }
        fs::remove_all(folder("kept"));
    }
    m_expected.clear();
    m_last.reset();
    for (auto& [id, told] : m_told)
        told.uptime.reset();
    m_typed.clear();
    m_typedMinutes = -1;
    m_typedNotes = false;
}

void World::settle()
{
    const auto& api = service::QuillonApi::sharedApi();
    bool stalled = false;
    {
        const std::lock_guard lock(m_mutex);
        stalled = m_stalled;
    }
    QTimer limit;
    limit.setSingleShot(true);
    limit.start(10s);
    while (!stalled && api.operationCount() > 0 && limit.isActive())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    if (!stalled && api.operationCount() > 0)
        fail("a request never ends");
    QCoreApplication::processEvents();
    // While a worker sleeps the manual clock goes on, but no timer falls due.
    if (const std::size_t sleeps = m_environment.clock.sleeps().size(); std::exchange(m_sleeps, sleeps) != sleeps)
        m_clocksAgree = uptime() + 61;
    // Messages are read; the question about idle time waits for its answer.
    while (m_environment.alertPresenter.isOpen() && !asksAboutIdleTime())
        m_environment.alertPresenter.press(0);
    if (m_asking && !asksAboutIdleTime())
        m_absence = {};
    m_asking = asksAboutIdleTime();
    absorb();
    if (!stalled && !m_expected.empty()) {
        fail("nothing was sent to " + m_expected.front().target);
        m_expected.clear();
    }
}

bool World::asksAboutIdleTime() const
{
    const auto open = m_environment.alertPresenter.open();
    return open && open->unasked;
}

void World::pass(std::chrono::milliseconds time)
{
    // What a timer sends arrives before the clock goes on.
    for (auto left = time; left > 0ms;) {
        const auto step = std::clamp(m_environment.clock.nextTimer().value_or(left), 1ms, left);
        m_environment.clock.advance(step);
        settle();
        left -= step;
    }
}

timesheet::TimesheetController& World::openTimesheet()
{
    if (!timesheet() || !timesheet()->window().isVisible())
        m_menulet->showTimesheetWindow(nullptr);
    timesheet()->window().activateWindow();
    return *timesheet();
}

bool World::isEditing() const
{
    const auto* editor = timesheet() ? timesheet()->editTimerController() : nullptr;
    return editor && editor->isShown();
}

model::DayEntry* World::rowAt(int row) const
{
    const auto entries = timesheet()->dayEntries();
    return entries.empty() ? nullptr : entries[static_cast<std::size_t>(row) % entries.size()];
}
