// quillon: sends a command to the running program over the session bus, or becomes the program.
//
// It is small so that a bar, a key or a shell gets its answer at once: it knows no windows, and nothing of Qt.

#include "Commands.h"
#include "Place.h"
#include "Text.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <unistd.h>

namespace client {

namespace {

constexpr int ExitFailed = 1;

constexpr char HelpText[] =
    R"(Usage: quillon [OPTION]…
       quillon COMMAND
Shows the hours of your running timer, and starts and stops it.

  --local        keep the timesheet on this computer, in the built-in service
  --background   open no window by itself
  --info FILE    take tuning values from FILE (JSON) over the built-in ones
  --check        check what Quillon needs from this desktop, and print what to do about it
  --help         print this and exit
  --version      print the version and exit

Commands for the running program:
  toggle         start or stop the current timer
  new            show the window for a new timer
  timesheet      show or hide the timesheet
  preferences    show the preferences
  quit           end the program
  status         print the hours and what they are for
    --json         as JSON
    --follow       a line for each change, until nobody reads them
    --format TEXT  in the form of TEXT: {text} {hours} {state} {symbol} {project} {task} {client} {notes} {running-on}

Commands that start the program if necessary, and wait for the service (--timeout SECONDS, 30):
  start PROJECT [TASK]      start a timer; names may be shortened, and in any case
    -n, --note NOTE           with notes
    --at TIME, --ago LENGTH   that began earlier today: 9:05, 2:30pm; 20m, 1:30
  stop                      stop the timer that runs
  continue [N]              go on with the last booking, or the N-th of recent
  add HOURS PROJECT [TASK]  book hours: 1:30, 1.5, 90m
    -n, --note NOTE           with notes
    -d, --day DAY             on another day: yesterday, monday, 2026-11-20
  note TEXT                 replace the notes of the running entry
  log [DAYS]                list entries: today, yesterday, week, 2026-11-02..2026-11-20
    --json, --csv             for programs
  projects [--json]         list what can be booked
  recent [--json]           list what was booked last

Examples:
  quillon start website design -n "Front page"
  quillon add 45m "team meeting" --day yesterday
  quillon log week --csv > week.csv

Settings:  $XDG_CONFIG_HOME/Quillon/Quillon.conf
Data:      $XDG_DATA_HOME/Quillon
)";

int runCommand(int count, const char* const* words)
{
    void* const module = dlopen(fileOfProgram("quillon-commands.so").c_str(), RTLD_NOW | RTLD_LOCAL);
    const auto run =
        module ? reinterpret_cast<decltype(&quillonRunCommand)>(dlsym(module, "quillonRunCommand")) : nullptr;
    if (run)
        return run(count, words);
    complain(filled(tr("%1 cannot be started: %2"), {words[0], dlerror()}));
    return ExitFailed;
}

int run(const std::vector<std::string>& words, char** argv)
{
    if (!words.empty() && !words.front().starts_with('-'))
        return runCommand(static_cast<int>(words.size()), argv + 1);
    const auto has = [&](const char* word) { return std::ranges::find(words, word) != words.end(); };
    if (has("--help") || has("-h")) {
        std::fputs(tr(HelpText), stdout);
        return 0;
    }
    if (has("--version")) {
        std::puts("quillon " QUILLON_VERSION);
        return 0;
    }
    const std::string program = fileOfProgram("quillon-desktop");
    execv(program.c_str(), argv);
    complain(filled(tr("%1 cannot be started: %2"), {program, std::strerror(errno)}));
    return ExitFailed;
}

} // namespace

} // namespace client

int main(int argc, char** argv)
{
    return client::run({argv + std::min(argc, 1), argv + argc}, argv);
}
