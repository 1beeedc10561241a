// quillon-bench [--against BUILD] [--peers] [SECTION…]
//
// Measures Quillon beside the least that does the same work and prints a table: today's figure, what it must reach,
// what it aims at, and its ratio to the bare program's; see docs/performance.md. Sections: start, first, memory,
// wakeups, command, inside (imports, stalls, timer commands), list, picker, desktops, pages, attack; all of them
// without an argument. --against measures another build, given by its folder, in the same run; --peers other time
// trackers. Needs a desktop session with an unlocked keyring of its own (tests/support/session, tests/support/keyring),
// and nobody else's program in it. Stores nothing.
#include "Home.h"
#include "Peers.h"
#include "Process.h"
#include "Programs.h"
#include "Report.h"
#include "Whole.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <stdexcept>

namespace {

using namespace bench;

/// A program that hands its rows over.
void runInside(const std::vector<std::string>& command)
{
    Process inside(command, {{HandOver, "1"}});
    for (std::string line = inside.readLine(); !line.empty(); line = inside.readLine()) {
        if (Row row; decode(line, row))
            report(row);
        else
            note(line);
    }
    if (inside.wait() != 0)
        throw std::runtime_error(command.front() + " failed");
}

/// What is measured by programs that a build has for it: first those of the other build, then ours.
std::function<void(const Builds&)> each(const std::function<void(const Programs&)>& measure)
{
    return [measure](const Builds& builds) {
        if (builds.before) {
            std::vector<Row> before;
            collectRows(&before);
            measure(*builds.before);
            collectRows(nullptr);
            compareWith(before);
        }
        measure(builds.ours);
    };
}

void measureInside(const Programs& programs)
{
    const ServiceProcess service(programs);
    runInside({programs.inside, service.port()});
}

void measureDesktops(const Programs& programs)
{
    const ServiceProcess service(programs);
    runInside({programs.desktops, service.port(), service.process()});
}

void measurePages(const Programs& programs)
{
    const ServiceProcess service(programs, "years");
    runInside({programs.pages, service.port(), service.process()});
}

} // namespace

int main(int argc, char** argv)
{
    const auto build = std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path();
    Builds builds{Programs(build), std::nullopt};
    const std::vector<std::pair<std::string, std::function<void(const Builds&)>>> sections{
        {"start", measureStart},
        {"first", measureFirstStart},
        {"memory", measureMemory},
        {"wakeups", measureWakeUps},
        {"command", measureCommand},
        {"inside", each(measureInside)},
        {"list", each([](const Programs& programs) { runInside({programs.list}); })},
        {"picker", each([](const Programs& programs) { runInside({programs.picker}); })},
        {"desktops", each(measureDesktops)},
        {"pages", each(measurePages)},
        {"attack", each([](const Programs& programs) {
             runInside({programs.attack, programs.standAlone});
         })}};
    std::vector<std::string> wanted(argv + 1, argv + argc);
    if (const auto option = std::ranges::find(wanted, "--against"); option != wanted.end()) {
        if (option + 1 == wanted.end() || !std::filesystem::exists(*(option + 1) + "/quillon")) {
            std::fputs("quillon-bench: --against needs the folder of a build\n", stderr);
            return 64;
        }
        builds.before.emplace(std::filesystem::absolute(*(option + 1)));
        wanted.erase(option, option + 2);
    }
    const bool peers = std::erase(wanted, "--peers") > 0;
    for (const std::string& name : wanted) {
        if (std::ranges::none_of(sections, [&name](const auto& section) { return section.first == name; })) {
            std::fprintf(stderr, "quillon-bench: there is no section %s\n", name.c_str());
            return 64;
        }
    }
    try {
        rememberPassword();
        heading(builds.before.has_value());
        for (const auto& [name, measure] : sections) {
            if ((wanted.empty() && !peers) || std::ranges::find(wanted, name) != wanted.end())
                measure(builds);
        }
        if (peers)
            measurePeers(builds);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "quillon-bench: %s\n", failure.what());
        return 1;
    }
    return 0;
}
