// quillon: sends a command to the running program over the session bus, or becomes the program.
//
// It is small so that a bar, a key or a shell gets its answer at once: it knows no windows, and nothing of Qt.

#include "Booking.h"
#include "Bus.h"
#include "Status.h"
#include "Text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <systemd/sd-bus.h>
#include <unistd.h>

namespace client {

using namespace std::chrono_literals;

namespace {

constexpr int ExitFailed = 1;
constexpr int ExitUsage = 2;
constexpr auto Patience = 2s;
/// For actions that need the service, which has 20 s to answer.
constexpr auto ServicePatience = 30s;

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

struct Named
{
    const char* command;
    const char* action;
};

constexpr std::array Actions{Named{"toggle", "toggle"}, Named{"new", "new-timer"}, Named{"timesheet", "timesheet"},
                             Named{"quit", "quit"}, Named{"preferences", "preferences"}};

int wrong(const std::string& reason)
{
    complain(reason);
    return ExitUsage;
}

int activate(const char* action)
{
    const auto bus = Bus::open();
    if (!bus) {
        complain(bus.error());
        return ExitFailed;
    }
    const auto arguments = [action](sd_bus_message* call) {
        sd_bus_message_append(call, "sav", action, 0);
        // So that a window may come to the front.
        sd_bus_message_open_container(call, SD_BUS_TYPE_ARRAY, "{sv}");
        for (const auto& [key, variable] : {std::pair{"desktop-startup-id", "DESKTOP_STARTUP_ID"},
                                            std::pair{"activation-token", "XDG_ACTIVATION_TOKEN"}}) {
            if (const char* id = std::getenv(variable); id && *id)
                sd_bus_message_append(call, "{sv}", key, "s", id);
        }
        sd_bus_message_close_container(call);
    };
    const auto reply = bus->call("org.freedesktop.Application", "ActivateAction", arguments,
                                 std::strcmp(action, "toggle") == 0 ? ServicePatience : Patience);
    if (reply)
        return 0;
    complain(reply.error().reason);
    return ExitFailed;
}

int status(const std::vector<std::string>& words)
{
    StatusCommand command;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        constexpr std::string_view format = "--format";
        if (word == "--json") {
            command.json = true;
        } else if (word == "--follow") {
            command.follow = true;
        } else if (word == format || word.starts_with("--format=")) {
            if (word == format && ++i == words.size())
                return wrong(tr("--format needs a string"));
            auto text = StatusText::parse(word == format ? words[i] : word.substr(format.size() + 1));
            if (!text)
                return wrong(text.error());
            command.text = std::move(*text);
        } else if (word.starts_with('-')) {
            return wrong(filled(tr("there is no option \"%1\" of %2 (see quillon --help)"), {word, "status"}));
        } else {
            return wrong(filled(tr("there is no command \"%1\" (see quillon --help)"), {word}));
        }
    }
    const auto bus = Bus::open();
    if (bus)
        return command.run(*bus);
    complain(bus.error());
    return ExitFailed;
}

int runCommand(const std::string& command, const std::vector<std::string>& words)
{
    const auto is = [&](const Named& named) { return command == named.command; };
    if (const auto* action = std::ranges::find_if(Actions, is); action != Actions.end()) {
        if (words.empty())
            return activate(action->action);
        return wrong(words.front().starts_with('-')
                         ? filled(tr("there is no option \"%1\" of %2 (see quillon --help)"), {words.front(), command})
                         : filled(tr("there is no command \"%1\" (see quillon --help)"), {words.front()}));
    }
    if (command == "status")
        return status(words);
    if (command == "complete") { // for the shells' completions
        complete(words);
        return 0;
    }
    if (const auto exit = runBookingCommand(command, words))
        return *exit;
    return wrong(filled(tr("there is no command \"%1\" (see quillon --help)"), {command}));
}

int run(const std::vector<std::string>& words, char** argv)
{
    if (!words.empty() && !words.front().starts_with('-'))
        return runCommand(words.front(), {words.begin() + 1, words.end()});
    const auto has = [&](const char* word) { return std::ranges::find(words, word) != words.end(); };
    if (has("--help") || has("-h")) {
        std::fputs(tr(HelpText), stdout);
        return 0;
    }
    if (has("--version")) {
        std::puts("quillon " QUILLON_VERSION);
        return 0;
    }
    const std::string program = programPath();
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
