#include "Peers.h"

#include "FaceWatch.h"
#include "Home.h"
#include "Report.h"
#include "Whole.h"

#include <stdexcept>

#include <unistd.h>

namespace bench {

namespace {

constexpr int Turns = 9;
constexpr int FaceWidth = 16;
constexpr int WindowWidth = 200;
constexpr double Patience = 20;

struct Tracker
{
    const char* name;
    const char* program;
    const char* question; ///< the title of what a new person is asked before the main window comes. Null: nothing
    FaceWatch::Part part; ///< of its main window
    Limits face, window;  ///< of ours to it; the quickest has the strictest
};

constexpr Limits Weight{1, 0.8};

constexpr Tracker Trackers[]{
    {"charmtimetracker",
     "/usr/bin/charmtimetracker",
     "Database Configuration",
     FaceWatch::Part::Middle,
     {1, 0.88},
     {1, 0.7}},
    {"ktimetracker", "/usr/bin/ktimetracker", nullptr, FaceWatch::Part::Middle, {1, 0.5}, {1, 0.5}},
    {"hamster-time-tracker", "/usr/bin/hamster", nullptr, FaceWatch::Part::Whole, {1, 0.5}, {1, 0.5}},
};

/// What a program costs that shows its window and runs no timer.
struct Weights
{
    double memory, wakeUps, processor;
};

Weights weigh(FaceWatch& watch, const std::string& program, const Home& home, Process::Output output,
              FaceWatch::Part part = FaceWatch::Part::Middle)
{
    watch.expectNewProgram();
    const Process process({program}, home.environment(), output);
    if (!watch.awaitFace(Patience, WindowWidth, part))
        throw std::runtime_error("it showed no window");
    awaitQuiet(process);
    const double memory = process.memory("Pss") / 1024;
    const Rates rate = rates(watch, process);
    return {memory, rate.wakeUps, rate.processor};
}

/// Answers what it asks a new person. Afterwards its home has its settings and an empty data file.
void answerQuestion(const Tracker& tracker, const Home& home)
{
    Process process({tracker.program}, home.environment(), Process::Output::Dropped);
    Process person({"/usr/bin/xdotool", "search", "--sync", "--onlyvisible", "--name", tracker.question, "windowfocus",
                    "--sync", "type", "Ann\n"},
                   {}, Process::Output::Dropped);
    if (person.wait() != 0)
        throw std::runtime_error("its question could not be answered");
    awaitQuiet(process);
}

void measureTracker(const Builds& builds, const Tracker& tracker)
{
    const std::string name = tracker.name;
    // Ours fetches its day from a service and makes its store; the others have nothing to fetch and nothing to show.
    const ServiceProcess service(builds.ours, "ordinary");
    FaceWatch watch;
    const Home known(service.port());
    if (tracker.question)
        answerQuestion(tracker, known);
    const auto ours = [&](int width) {
        const Home fresh(service.port());
        return startTime(watch, builds.ours.quillon, fresh, width);
    };
    const auto theirs = [&](int width) {
        // What asks a question first has to have been started before.
        const Home fresh(service.port());
        return startTime(watch, tracker.program, tracker.question ? known : fresh, width, Process::Output::Dropped,
                         tracker.part);
    };
    for (const auto& [figure, width, limits] : {std::tuple("start to the first face, of ", FaceWidth, tracker.face),
                                                {"first start to the main window, of ", WindowWidth, tracker.window}}) {
        const int least = width;
        report(figure + name,
               pairs(
                   Turns, [&] { return ours(least); }, [&] { return theirs(least); }),
               "ms", limits);
    }

    const Weights us = weigh(watch, builds.ours.quillon, Home(service.port()), Process::Output::Kept);
    const Weights them = weigh(watch, tracker.program, known, Process::Output::Dropped, tracker.part);
    const auto row = [&](const char* figure, double Weights::*value, const char* unit) {
        if (them.*value < 0.002) {
            note(text("  %s%s: %.2f %s, theirs too little to measure", figure, tracker.name, us.*value, unit));
            return;
        }
        report({figure + name, us.*value / them.*value, "x", Weight, text("%.2f %s", us.*value, unit),
                text("theirs %.2f %s", them.*value, unit)});
    };
    row("memory (Pss), window open, of ", &Weights::memory, "MiB");
    row("wake-ups without a timer, window open, of ", &Weights::wakeUps, "/s");
    row("processor without a timer, window open, of ", &Weights::processor, "%");
}

} // namespace

void measurePeers(const Builds& builds)
{
    for (const Tracker& tracker : Trackers) {
        if (!std::filesystem::exists(tracker.program)) {
            note(text("%s is not installed", tracker.name));
            continue;
        }
        try {
            measureTracker(builds, tracker);
        } catch (const std::runtime_error& failure) {
            note(text("  %s is left out: %s", tracker.name, failure.what()));
        }
    }
}

} // namespace bench
