#pragma once

#include "FaceWatch.h"
#include "Process.h"
#include "Programs.h"

#include <string>
#include <vector>

namespace bench {

class Home;

// Figures of whole processes, as the X server and the kernel see them.

void measureStart(const Builds& builds);
/// From nothing to the day in its window, and to the first face of all.
void measureFirstStart(const Builds& builds);
void measureMemory(const Builds& builds);
void measureWakeUps(const Builds& builds);
void measureCommand(const Builds& builds);

/// Milliseconds until a window of the program, at least that wide, shows a picture. The program is ended.
double startTime(FaceWatch& watch, const std::string& program, const Home& home, int width,
                 Process::Output output = Process::Output::Kept, FaceWatch::Part part = FaceWatch::Part::Middle);

/// Until the program has had nothing to do for a while.
void awaitQuiet(const Process& process);

/// What a process costs while nobody uses it, in each second.
struct Rates
{
    double repaints, wakeUps, processor;
};
/// As long as the refresh cycle: each span has one refresh in it.
Rates rates(FaceWatch& watch, const Process& process, int seconds = 30);

} // namespace bench
