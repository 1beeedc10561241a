#include "Whole.h"

#include "FaceWatch.h"
#include "Home.h"
#include "Report.h"

#include <algorithm>
#include <memory>
#include <stdexcept>

#include <unistd.h>

namespace bench {

namespace {

constexpr double LongestStart = 20;
constexpr int FaceWidth = 16;
constexpr int WindowWidth = 300;
constexpr int Turns = 25;
constexpr double FirstLook = 16;

void pause(double seconds)
{
    usleep(static_cast<useconds_t>(seconds * 1e6));
}

std::unique_ptr<Process> started(FaceWatch& watch, const std::string& program, const Home& home, int width = FaceWidth,
                                 Process::Output output = Process::Output::Kept,
                                 FaceWatch::Part part = FaceWatch::Part::Middle)
{
    watch.expectNewProgram();
    auto process = std::make_unique<Process>(std::vector{program}, home.environment(), output);
    if (!watch.awaitFace(LongestStart, width, part))
        throw std::runtime_error(program + " showed no window");
    return process;
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
    const auto ours = librariesOf(programs.quillon + "-desktop");
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

/// The same from each build in turns, beside one more. A turn that only warms the caches comes first.
template <class Measure, class Bare>
void inTurns(const Builds& builds, const std::string& figure, Limits limits, Measure measure, Bare bare)
{
    Pairs ours, before;
    for (int turn = -1; turn < Turns; ++turn) {
        const double floor = bare();
        const double now = measure(builds.ours);
        const double then = builds.before ? measure(*builds.before) : 0;
        if (turn < 0)
            continue;
        ours.ours.push_back(now);
        before.ours.push_back(then);
        ours.bare.push_back(floor);
    }
    before.bare = ours.bare;
    if (builds.before) {
        compareWith({{figure, before.ratio(), "x", limits, "", ""}});
        note("  before: " + before.detail("ms"));
    }
    report(figure, ours, "ms", limits);
}

} // namespace

double startTime(FaceWatch& watch, const std::string& program, const Home& home, int width, Process::Output output,
                 FaceWatch::Part part)
{
    const double before = now();
    const auto process = started(watch, program, home, width, output, part);
    return (now() - before) * 1000;
}

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

Rates rates(FaceWatch& watch, const Process& process, int seconds)
{
    static_cast<void>(watch.countRepaints(0.2)); // those that have waited to be counted since the start
    const double processor = process.processorTime();
    auto before = process.sleeps();
    const double begin = now();
    int repaints = 0;
    std::int64_t wakeUps = 0;
    // In short steps: a thread that ends takes its count with it.
    for (int step = 0; step < seconds; ++step) {
        repaints += watch.countRepaints(1);
        auto after = process.sleeps();
        for (const auto& [thread, count] : after)
            wakeUps += count - before[thread];
        before = std::move(after);
    }
    const double span = now() - begin;
    return {repaints / span, static_cast<double>(wakeUps) / span, (process.processorTime() - processor) / span * 100};
}

void measureStart(const Builds& builds)
{
    compareLibraries(builds.ours);
    const ServiceProcess service(builds.ours, "running");
    const Home home(service.port());
    FaceWatch watch;
    // The first start fetches the whole day; the others find it.
    awaitDay(*started(watch, builds.ours.quillon, home), home);
    const auto start = [&](const std::string& program) { return startTime(watch, program, home, FaceWidth); };
    inTurns(
        builds, "start to the first face, of bare", {1.15, 0.88},
        [&](const Programs& programs) { return start(programs.quillon); }, [&] { return start(builds.ours.bare); });
}

void measureFirstStart(const Builds& builds)
{
    const ServiceProcess service(builds.ours, "running");
    FaceWatch watch;
    const auto start = [&](const std::string& program, int width) {
        const Home fresh(service.port());
        return startTime(watch, program, fresh, width);
    };
    inTurns(
        builds, "first start to the timesheet, of bare's first face", {4, 3},
        [&](const Programs& programs) { return start(programs.quillon, WindowWidth); },
        [&] { return start(builds.ours.bare, FaceWidth); });
}

void measureMemory(const Builds& builds)
{
    const ServiceProcess service(builds.ours, "running");
    FaceWatch watch;
    struct Weights
    {
        std::vector<double> pss, rss, again;
    };
    const auto weigh = [&](const std::string& program, Weights& weights, bool hasDay) {
        const Home home(service.port());
        for (const bool again : {false, true}) {
            const auto process = started(watch, program, home);
            if (hasDay && !again)
                awaitDay(*process, home);
            awaitQuiet(*process);
            (again ? weights.again : weights.pss).push_back(process->memory("Pss") / 1024);
            if (!again)
                weights.rss.push_back(process->memory("Rss") / 1024);
        }
    };
    Weights ours, before, bare;
    for (int turn = 0; turn < 3; ++turn) {
        weigh(builds.ours.bare, bare, false);
        weigh(builds.ours.quillon, ours, true);
        if (builds.before)
            weigh(builds.before->quillon, before, true);
    }
    const char* const figure = "memory (Pss) with the large day, of bare";
    const double floor = median(bare.pss);
    if (builds.before)
        compareWith({{figure, median(before.pss) / floor, "x", {}, "", ""}});
    report({figure,
            median(ours.pss) / floor,
            "x",
            {1.4, 1.15},
            text("%.1f MiB", median(ours.pss)),
            text("bare %.1f MiB (Rss %.1f / %.1f); started again %.1f", floor, median(ours.rss), median(bare.rss),
                 median(ours.again))});
}

void measureWakeUps(const Builds& builds)
{
    struct State
    {
        const char* name;
        bool running, open;
        Limits wakeUps, processor;
    };
    for (const State& state : {State{"while a timer runs", true, false, {12, 9}, {0.3, 0.15}},
                               State{"while a timer runs, timesheet open", true, true, {24, 18}, {0.5, 0.3}},
                               State{"while none runs", false, false, {0.5, 0.3}, {0.05, 0.02}}}) {
        // What comes twice a minute falls into half a minute two or three times.
        const int seconds = state.running ? 30 : 60;
        const auto observe = [&](const Programs& programs) {
            const ServiceProcess service(builds.ours, state.running ? "running" : "");
            const Home home(service.port());
            FaceWatch watch;
            const auto process = started(watch, programs.quillon, home);
            awaitDay(*process, home);
            // The window of the day opens by itself.
            if (!state.open)
                Process({programs.quillon, "timesheet"}, home.environment()).wait();
            // After the first look at the idle time, which makes a connection: what goes on all day.
            if (!state.running)
                pause(FirstLook);
            return rates(watch, *process, seconds);
        };
        const std::string wakeUps = std::string("wake-ups ") + state.name;
        const std::string processor = std::string("processor ") + state.name;
        if (builds.before) {
            const Rates before = observe(*builds.before);
            compareWith({{wakeUps, before.wakeUps, "/s", {}, "", ""}, {processor, before.processor, "%", {}, "", ""}});
        }
        const Rates seen = observe(builds.ours);
        if ((seen.repaints > 0) != state.running)
            throw std::runtime_error(state.running ? "the colon does not blink" : "something moves");
        report(wakeUps, seen.wakeUps, "/s", state.wakeUps,
               text("over %d s, a refresh in each half minute; %.1f repaints/s of the item", seconds, seen.repaints));
        report(processor, seen.processor, "%", state.processor, "of one core");
    }
}

void measureCommand(const Builds& builds)
{
    const ServiceProcess service(builds.ours, "running");
    const Home home(service.port());
    FaceWatch watch;
    const auto process = started(watch, builds.ours.quillon, home);
    awaitDay(*process, home);
    const auto run = [&](const Programs& programs) {
        std::vector<double> times;
        for (int i = 0; i < 100; ++i) {
            const double begin = now();
            if (Process({programs.quillon, "status"}, home.environment()).wait() != 0)
                throw std::runtime_error("quillon status failed");
            times.push_back((now() - begin) * 1000);
        }
        return times;
    };
    const char* const figure = "quillon status, whole process";
    if (builds.before)
        compareWith({{figure, median(run(*builds.before)), "ms", {}, "", ""}});
    const std::vector<double> times = run(builds.ours);
    report(figure, median(times), "ms", {10, 3},
           text("of 100; best %.2f", *std::min_element(times.begin(), times.end())));
}

} // namespace bench
