// quillon-bench [SECTION…]
//
// Measures Quillon beside the least that does the same work and prints the quotients; see docs. Sections: start,
// memory, blink, inside (imports, stalls, timer commands), list, picker, desktops, pages, attack; all of them without
// an argument. Needs a desktop session with an unlocked keyring of its own (tests/support/session,
// tests/support/keyring), and nobody else's program in it.
#include "FaceWatch.h"
#include "Home.h"
#include "Process.h"
#include "Report.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>

#include <unistd.h>

namespace {

using namespace bench;
using std::filesystem::path;

/// The programs that belong together lie in one build folder.
struct Programs
{
    explicit Programs(const path& folder)
        : quillon(folder.parent_path() / "quillon"), bare(folder / "bare"), service(folder / "bench-service"),
          inside(folder / "bench-inside"), list(folder / "bench-list"), picker(folder / "bench-picker"),
          desktops(folder / "bench-desktops"), pages(folder / "bench-pages"), attack(folder / "bench-attack"),
          standAlone(folder.parent_path() / "localservice" / "quillon-service")
    {
    }
    std::string quillon, bare, service, inside, list, picker, desktops, pages, attack, standAlone;
};

/// A service on a data file of its own: with the large day, its last timer "running", or with "years" of time.
class Peer
{
public:
    explicit Peer(const Programs& programs, const std::string& content = {})
        : m_file(std::filesystem::temp_directory_path() / ("bench-" + std::to_string(getpid()) + ".sqlite"))
    {
        std::vector<std::string> command{programs.service, m_file};
        if (!content.empty())
            command.push_back(content);
        m_process.emplace(command);
        m_port = m_process->readLine();
        if (m_port.empty())
            throw std::runtime_error("the service did not start");
    }
    ~Peer()
    {
        m_process.reset();
        for (const char* suffix : {"", "-wal", "-shm"})
            std::filesystem::remove(m_file + suffix);
    }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    const std::string& port() const { return m_port; }
    std::string process() const { return std::to_string(m_process->id()); }

private:
    std::string m_file;
    std::optional<Process> m_process;
    std::string m_port;
};

constexpr double LongestStart = 20;

std::unique_ptr<Process> started(FaceWatch& watch, const std::string& program, const Home& home)
{
    watch.expectNewProgram();
    auto process = std::make_unique<Process>(std::vector{program}, home.environment());
    if (!watch.awaitFace(LongestStart))
        throw std::runtime_error(program + " showed no face");
    return process;
}

void pause(double seconds)
{
    usleep(static_cast<useconds_t>(seconds * 1e6));
}

/// Until the program has had nothing to do for a while.
void awaitQuiet(const Process& process)
{
    double before = process.processorTime();
    for (int quiet = 0; quiet < 4;) {
        pause(0.3);
        const double after = process.processorTime();
        quiet = after - before < 0.005 ? quiet + 1 : 0;
        before = after;
    }
}

/// Until the day is in the local store and the program is done with it.
void awaitDay(const Process& process, const Home& home)
{
    for (double until = now() + 60; home.storedEntries() < 200; pause(0.1)) {
        if (now() > until)
            throw std::runtime_error("the day was not loaded");
    }
    awaitQuiet(process);
}

void compareLibraries(const Programs& programs)
{
    const auto ours = librariesOf(programs.quillon);
    const auto bare = librariesOf(programs.bare);
    const auto only = [](const std::vector<std::string>& left, const std::vector<std::string>& right) {
        std::vector<std::string> names;
        std::set_difference(left.begin(), left.end(), right.begin(), right.end(), std::back_inserter(names));
        std::string list;
        for (const std::string& name : names)
            list += ' ' + name;
        return names.empty() ? std::string(" none") : list;
    };
    note(text("libraries at start: quillon %zu, bare %zu", ours.size(), bare.size()));
    note("  quillon only:" + only(ours, bare));
    note("  bare only:" + only(bare, ours));
}

void measureStart(const Programs& programs)
{
    compareLibraries(programs);
    const Peer peer(programs, "running");
    const Home home(peer.port());
    FaceWatch watch;
    const auto start = [&](const std::string& program) {
        const double before = now();
        const auto process = started(watch, program, home);
        return (now() - before) * 1000;
    };
    // The first start fetches the whole day; the others find it.
    {
        const auto process = started(watch, programs.quillon, home);
        awaitDay(*process, home);
    }
    const Pairs measured = pairs(
        25, [&] { return start(programs.quillon); }, [&] { return start(programs.bare); });
    report("start to the first face, of bare", measured.ratio(), "x", {1.15, 0.95}, measured.detail("ms"));
}

void measureMemory(const Programs& programs)
{
    const Peer peer(programs, "running");
    FaceWatch watch;
    struct Weight
    {
        double pss, rss;
    };
    const auto weigh = [](const Process& process) {
        return Weight{process.memory("Pss") / 1024, process.memory("Rss") / 1024};
    };
    std::vector<Weight> ours, again, bare;
    for (int turn = 0; turn < 3; ++turn) {
        const Home home(peer.port());
        {
            const auto process = started(watch, programs.quillon, home);
            awaitDay(*process, home);
            ours.push_back(weigh(*process));
        }
        {
            const auto process = started(watch, programs.quillon, home);
            awaitQuiet(*process);
            again.push_back(weigh(*process));
        }
        const auto process = started(watch, programs.bare, home);
        awaitQuiet(*process);
        bare.push_back(weigh(*process));
    }
    const auto middle = [](const std::vector<Weight>& weights, double Weight::*kind) {
        std::vector<double> values;
        for (const Weight& weight : weights)
            values.push_back(weight.*kind);
        return median(values);
    };
    const double floor = middle(bare, &Weight::pss);
    report("memory (Pss) with the large day, of bare", middle(ours, &Weight::pss) / floor, "x", {1.4, 1.2},
           text("%.1f / %.1f MiB (Rss %.1f / %.1f); started again %.1f", middle(ours, &Weight::pss), floor,
                middle(ours, &Weight::rss), middle(bare, &Weight::rss), middle(again, &Weight::pss)));
}

void measureBlink(const Programs& programs)
{
    // As long as the refresh cycle: each span has one refresh in it.
    constexpr double span = 30;
    struct Rates
    {
        double repaints, wakeUps, processor;
    };
    const auto observe = [&](bool running) {
        const Peer peer(programs, running ? "running" : "");
        const Home home(peer.port());
        FaceWatch watch;
        const auto process = started(watch, programs.quillon, home);
        awaitDay(*process, home);
        // The item alone: the window of the day opens by itself, and its running row pulsates, too.
        Process({programs.quillon, "timesheet"}, home.environment()).wait();
        static_cast<void>(watch.countRepaints(0.2)); // those that have waited to be counted since the start
        const double processor = process->processorTime();
        auto before = process->sleeps();
        const double begin = now();
        int repaints = 0;
        std::int64_t wakeUps = 0;
        // In short steps: a thread that ends takes its count with it.
        for (int step = 0; step < static_cast<int>(span); ++step) {
            repaints += watch.countRepaints(1);
            auto after = process->sleeps();
            for (const auto& [thread, count] : after)
                wakeUps += count - before[thread];
            before = std::move(after);
        }
        const double seconds = now() - begin;
        return Rates{repaints / seconds, static_cast<double>(wakeUps) / seconds,
                     (process->processorTime() - processor) / seconds * 100};
    };
    const Rates running = observe(true);
    const Rates still = observe(false);
    const std::string detail = text("over %.0f s, one refresh included", span);
    if (running.repaints == 0)
        throw std::runtime_error("the colon does not blink");
    report("repaints while a timer runs", running.repaints, "/s", {10, 8.3}, detail);
    report("wake-ups while a timer runs", running.wakeUps, "/s", {35, 35}, detail);
    report("processor while a timer runs", running.processor, "%", {1, 1}, detail);
    report("wake-ups while none runs", still.wakeUps, "/s", {1, 0.5}, detail);
    note(text("  none runs: %.2f repaints/s, processor %.2f %%", still.repaints, still.processor));
}

/// A program that prints its results itself.
void runInside(const std::vector<std::string>& command)
{
    Process inside(command);
    for (std::string line = inside.readLine(); !line.empty(); line = inside.readLine())
        note(line);
    if (inside.wait() != 0)
        throw std::runtime_error(command.front() + " failed");
}

void measureInside(const Programs& programs)
{
    const Peer peer(programs);
    runInside({programs.inside, peer.port()});
}

void measureList(const Programs& programs)
{
    runInside({programs.list});
}

void measurePicker(const Programs& programs)
{
    runInside({programs.picker});
}

void measureDesktops(const Programs& programs)
{
    const Peer peer(programs);
    runInside({programs.desktops, peer.port(), peer.process()});
}

void measurePages(const Programs& programs)
{
    const Peer peer(programs, "years");
    runInside({programs.pages, peer.port(), peer.process()});
}

void measureAttack(const Programs& programs)
{
    runInside({programs.attack, programs.standAlone});
}

} // namespace

int main(int argc, char** argv)
{
    const Programs programs(std::filesystem::read_symlink("/proc/self/exe").parent_path());
    const std::vector<std::pair<std::string, std::function<void(const Programs&)>>> sections{
        {"start", measureStart},       {"memory", measureMemory}, {"blink", measureBlink},
        {"inside", measureInside},     {"list", measureList},     {"picker", measurePicker},
        {"desktops", measureDesktops}, {"pages", measurePages},   {"attack", measureAttack}};
    const std::vector<std::string> wanted(argv + 1, argv + argc);
    try {
        rememberPassword();
        for (const auto& [name, measure] : sections) {
            if (wanted.empty() || std::find(wanted.begin(), wanted.end(), name) != wanted.end())
                measure(programs);
        }
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "quillon-bench: %s\n", failure.what());
        return 1;
    }
    return 0;
}
