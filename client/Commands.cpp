// What `quillon` does with a command: a module of its own, so that a start of the program does not load the bus
// library.

#include "Commands.h"

#include "Booking.h"
#include "Bus.h"
#include "Status.h"
#include "Text.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

#include <systemd/sd-bus.h>

namespace client {

using namespace std::chrono_literals;

namespace {

constexpr int ExitFailed = 1;
constexpr int ExitUsage = 2;
constexpr auto Patience = 2s;
/// For actions that need the service, which has 20 s to answer.
constexpr auto ServicePatience = 30s;

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

} // namespace

} // namespace client

int quillonRunCommand(int count, const char* const* words)
{
    return client::runCommand(words[0], {words + 1, words + count});
}
