// walk [SEED [MINUTES]]      walks from that seed on, each in a process of its own
// walk --seconds N           the walks that are kept, then those of the first seeds, for about so long
// walk --play "start; item"  one walk
// walk --soak HOURS          a working day of so many hours: a line of figures for each five minutes
//
// A walk that goes wrong is shrunk and printed in the form of tests/walk/kept.

#include "World.h"

#include "support/StillStyle.h"

#include <QApplication>

#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <malloc.h>
#include <random>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Steps = std::vector<World::Step>;
using Clock = std::chrono::steady_clock;

constexpr int LongestWalk = 240;   ///< steps
constexpr unsigned Patience = 120; ///< with one step, in seconds
constexpr int MostTries = 400;

Steps read(const std::string& text)
{
    Steps steps;
    std::istringstream parts(text);
    for (std::string part; std::getline(parts, part, ';');) {
        std::istringstream words(part);
        World::Step step;
        words >> step.name >> step.a >> step.b;
        steps.push_back(step);
    }
    return steps;
}

std::string write(const Steps& steps)
{
    std::string text;
    for (const World::Step& step : steps) {
        text += (text.empty() ? "" : "; ") + step.name;
        if (step.a != 0 || step.b != 0)
            text += ' ' + std::to_string(step.a);
        if (step.b != 0)
            text += ' ' + std::to_string(step.b);
    }
    return text;
}

Steps invent(unsigned seed)
{
    std::mt19937 random(seed);
    const auto below = [&](int limit) { return int(random() % unsigned(limit)); };
    std::vector<int> fondness(World::Moods, 0);
    fondness[World::Work] = 2;
    for (int mood = 1; mood < World::Moods; ++mood)
        fondness[std::size_t(mood)] = below(3) == 0 ? 1 + below(2) : 0;
    std::vector<const World::Command*> urn;
    for (const World::Command& command : World::commands())
        urn.insert(urn.end(), std::size_t(command.weight * fondness[command.mood]), &command);
    Steps steps;
    if (fondness[World::Clock] > 0)
        steps = {{"zone", below(6)}, {"begin", below(6)}};
    for (int left = 40 + below(LongestWalk - 40); left > 0; --left) {
        const World::Command& command = *urn[random() % urn.size()];
        steps.push_back({command.name, below(command.a), below(command.b)});
    }
    steps.push_back({"calm"});
    return steps;
}

struct Outcome
{
    std::string wrong; ///< empty: nothing
    int step = 0;      ///< the last one
    int requests = 0;
    int repeated = 0;
    int questions = 0;
};

/// In a process of its own: a walk may break anything.
Outcome play(const Steps& steps, bool quietly)
{
    int report[2];
    if (::pipe(report) != 0)
        return {"no pipe"};
    const pid_t child = ::fork();
    if (child == 0) {
        if (quietly && !std::freopen("/dev/null", "w", stderr))
            ::_exit(EXIT_FAILURE);
        int count = 1;
        char name[] = "walk";
        char* arguments[] = {name, nullptr};
        const QApplication application(count, arguments);
        QApplication::setStyle(new support::StillStyle);
        World world;
        const auto say = [&](int step, const std::string& wrong) {
            const std::string line = std::to_string(step) + ' ' + std::to_string(world.requests) + ' ' +
                                     std::to_string(world.repeated) + ' ' + std::to_string(world.questions) + ' ' +
                                     wrong + '\n';
            if (::write(report[1], line.data(), line.size()) < 0)
                ::_exit(EXIT_FAILURE); // whoever listened is gone
        };
        for (std::size_t i = 0; i < steps.size(); ++i) {
            say(int(i), {});
            ::alarm(Patience);
            if (const std::string wrong = world.take(steps[i]); !wrong.empty()) {
                say(int(i), wrong);
                ::_exit(1);
            }
        }
        say(int(steps.size()) - 1, {});
        ::_exit(0);
    }
    ::close(report[1]);
    std::string told;
    char buffer[4096];
    for (ssize_t size = 0; (size = ::read(report[0], buffer, sizeof buffer)) > 0;)
        told.append(buffer, std::size_t(size));
    ::close(report[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    Outcome outcome;
    std::istringstream lines(told);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        words >> outcome.step >> outcome.requests >> outcome.repeated >> outcome.questions >> std::ws;
        std::getline(words, outcome.wrong);
    }
    if (WIFSIGNALED(status))
        outcome.wrong =
            WTERMSIG(status) == SIGALRM ? "it hangs" : "it dies of signal " + std::to_string(WTERMSIG(status));
    else if (WEXITSTATUS(status) != 0 && outcome.wrong.empty())
        outcome.wrong = "it ends with status " + std::to_string(WEXITSTATUS(status));
    return outcome;
}

/// The shortest walk found that goes wrong as well.
Steps shrink(Steps steps)
{
    int tries = 0;
    const auto stillWrong = [&](const Steps& fewer) { return ++tries < MostTries && !play(fewer, true).wrong.empty(); };
    for (std::size_t size = std::max<std::size_t>(steps.size() / 2, 1);; size = std::max<std::size_t>(size / 2, 1)) {
        bool shorter = false;
        for (std::size_t from = 0; from < steps.size();) {
            Steps fewer = steps;
            fewer.erase(fewer.begin() + long(from), fewer.begin() + long(std::min(from + size, fewer.size())));
            if (stillWrong(fewer)) {
                steps = fewer;
                shorter = true;
            } else {
                from += size;
            }
        }
        if (size == 1 && !shorter)
            break;
    }
    for (World::Step& step : steps) {
        for (int World::Step::*number : {&World::Step::a, &World::Step::b}) {
            const int before = std::exchange(step.*number, 0);
            if (before != 0 && !stillWrong(steps))
                step.*number = before;
        }
    }
    return steps;
}

bool goesWell(const Steps& steps, const std::string& name, Outcome* sum = nullptr)
{
    const Outcome outcome = play(steps, true);
    if (sum) {
        sum->step += outcome.step + 1;
        sum->requests += outcome.requests;
        sum->repeated += outcome.repeated;
        sum->questions += outcome.questions;
    }
    if (outcome.wrong.empty())
        return true;
    std::cout << name << ", step " << outcome.step + 1 << ": " << outcome.wrong << std::endl;
    const Steps few = shrink({steps.begin(), steps.begin() + outcome.step + 1});
    std::cout << "  " << write(few) << "\n  " << play(few, false).wrong << std::endl;
    return false;
}

/// In use, in kilobytes, by program and service together; handles; threads.
std::array<long, 3> figures()
{
    const auto count = [](const char* folder) {
        return long(std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator()));
    };
    return {long(::mallinfo2().uordblks / 1024), count("/proc/self/fd"), count("/proc/self/task")};
}

/// What the program may wake up for in a minute, by its state: refreshes, looks at the idle time, minutes that it
/// shows. The pulses of item and row take eight steps a second as long as somebody may see them.
constexpr std::pair<const char*, double> Budgets[] = {
    {"start; calm", 1100}, {"start; item; calm", 30}, {"network", 30}, {"account 2", 30}};

/// Prints the wake-ups of each state. False when one has more than it may.
bool keepsItsBudgets(World& world)
{
    bool keeps = true;
    for (const auto& [steps, budget] : Budgets) {
        for (const World::Step& step : read(steps))
            world.take(step);
        const double wakeUps = world.wakeUps();
        keeps &= wakeUps <= budget;
        std::cout << "# " << wakeUps << " wake-ups a minute after \"" << steps << "\"" << std::endl;
        for (const World::Step& step : read("network 1; account; calm"))
            world.take(step);
    }
    return keeps;
}

/// Refreshes every half minute, seven timer commands a minute, windows and panels that come and go.
int soak(double hours)
{
    constexpr int CommandsAnHour = 420;
    int count = 1;
    char name[] = "walk";
    char* arguments[] = {name, nullptr};
    const QApplication application(count, arguments);
    QApplication::setStyle(new support::StillStyle);
    World world(World::Item::InPanels);
    for (const char* steps : {"start", "start 1", "start 0 1", "timesheet", "timesheet", "newtimer", "newtimer"}) {
        if (const std::string wrong = world.take(read(steps).front()); !wrong.empty())
            std::cerr << wrong << std::endl;
    }
    bool keeps = keepsItsBudgets(world);
    int commands = 0;
    std::cout << "hours heap handles threads requests" << std::endl;
    for (int minute = 0; minute <= hours * 60; ++minute) {
        Steps steps;
        for (; commands < minute * CommandsAnHour / 60; ++commands)
            steps.push_back({commands % 2 ? "item" : "row", commands % 3});
        if (minute % 4 == 0)
            steps.insert(steps.end(), {{"timesheet"},
                                       {"newtimer"},
                                       {"open"},
                                       {"notes", minute % 26},
                                       {"cancel"},
                                       {"newtimer"},
                                       {"timesheet"}});
        if (minute % 30 == 0)
            steps.insert(steps.end(), {{"day", 2}, {"delete"}, {"start"}, {"sleep", 4}, {"answer"}});
        if (minute % 30 < 2)
            world.changePanel(minute % 30 == 0);
        steps.push_back({"wait", 60});
        for (const World::Step& step : steps) {
            if (const std::string wrong = world.take(step); !wrong.empty()) {
                std::cerr << "minute " << minute << ", " << step.name << ": " << wrong << std::endl;
                return 1;
            }
        }
        if (minute % 5 == 0) {
            world.take({"calm"});
            const auto [heap, handles, threads] = figures();
            std::cout << minute / 60.0 << ' ' << heap << ' ' << handles << ' ' << threads << ' ' << world.requests
                      << std::endl;
        }
    }
    keeps &= keepsItsBudgets(world);
    std::cout << "# " << commands << " commands, " << world.requests << " requests" << std::endl;
    return keeps ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    // Panels are of the desktop.
    qputenv("QT_QPA_PLATFORM", !arguments.empty() && arguments[0] == "--soak" ? "xcb" : "offscreen");
    const auto number = [&](std::size_t index, double otherwise) {
        return index < arguments.size() ? std::atof(arguments[index].c_str()) : otherwise;
    };
    if (arguments.size() == 2 && arguments[0] == "--play") {
        const Outcome outcome = play(read(arguments[1]), false);
        std::cout << "step " << outcome.step + 1 << ": " << (outcome.wrong.empty() ? "all is well" : outcome.wrong)
                  << std::endl;
        return outcome.wrong.empty() ? 0 : 1;
    }
    if (arguments.size() == 2 && arguments[0] == "--soak")
        return soak(number(1, 24));
    const bool fixed = !arguments.empty() && arguments[0] == "--seconds";
    const auto begin = Clock::now();
    const std::chrono::duration<double> time(fixed ? number(1, 10) : number(1, 1) * 60);
    int wrong = 0;
    int walks = 0;
    Outcome sum;
    if (fixed) {
        std::ifstream kept(KEPT_WALKS);
        for (std::string line; std::getline(kept, line);) {
            if (!line.empty() && !line.starts_with('#'))
                wrong += !goesWell(read(line), line, &sum);
        }
    }
    for (auto seed = unsigned(fixed ? 1 : number(0, 1)); Clock::now() - begin < time; ++seed, ++walks)
        wrong += !goesWell(invent(seed), "seed " + std::to_string(seed), &sum);
    const std::chrono::duration<double> took = Clock::now() - begin;
    std::cout << walks << " walks, " << sum.step << " steps, " << sum.requests << " requests, " << sum.repeated
              << " toggles turned back by the retry, " << sum.questions << " idle questions, " << wrong
              << " went wrong; " << int(sum.step / took.count() * 60) << " steps a minute" << std::endl;
    if (fixed && sum.questions == 0)
        std::cout << "nobody was asked about idle time" << std::endl;
    return wrong == 0 && (!fixed || sum.questions > 0) ? 0 : 1;
}
