#include "Peers.h"

#include "FaceWatch.h"
#include "Home.h"
#include "Report.h"
#include "Whole.h"

namespace bench {

namespace {

struct Tracker
{
    const char* name;
    const char* program;
    Limits face, window; ///< of ours to it; the quickest has the issue's
};

constexpr Tracker Trackers[]{
    {"charmtimetracker", "/usr/bin/charmtimetracker", {1, 0.88}, {1, 0.7}},
    {"ktimetracker", "/usr/bin/ktimetracker", {1, 0.5}, {1, 0.5}},
    {"hamster-time-tracker", "/usr/bin/hamster", {1, 0.5}, {1, 0.5}},
};

void measureTracker(const Builds& builds, const Tracker& tracker)
{
    constexpr int turns = 9;
    constexpr int faceWidth = 16;
    constexpr int windowWidth = 200;
    const ServiceProcess service(builds.ours, "running");
    FaceWatch watch;
    const auto first = [&](const std::string& program, int width) {
        const Home fresh(service.port());
        return startTime(watch, program, fresh, width);
    };
    const std::string name = tracker.name;
    for (const auto& [figure, width, limits] : {std::tuple("start to the first face, of ", faceWidth, tracker.face),
                                                {"first start to the main window, of ", windowWidth, tracker.window}}) {
        const Pairs measured = pairs(
            turns, [&] { return first(builds.ours.quillon, width); }, [&] { return first(tracker.program, width); });
        report(figure + name, measured, "ms", limits);
    }
    const Home home(service.port());
    watch.expectNewProgram();
    const Process process({tracker.program}, home.environment());
    if (!watch.awaitFace(20, faceWidth)) {
        note("  " + name + " showed no window");
        return;
    }
    awaitQuiet(process);
    const double memory = process.memory("Pss") / 1024;
    const Rates still = rates(watch, process);
    note(text("  %s: %.1f MiB (Pss), without a timer %.2f wake-ups/s, processor %.2f %%", tracker.name, memory,
              still.wakeUps, still.processor));
}

} // namespace

void measurePeers(const Builds& builds)
{
    for (const Tracker& tracker : Trackers) {
        if (std::filesystem::exists(tracker.program))
            measureTracker(builds, tracker);
        else
            note(text("%s is not installed", tracker.name));
    }
}

} // namespace bench
