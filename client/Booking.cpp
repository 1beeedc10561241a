#include "Booking.h"

#include "Arguments.h"
#include "Bus.h"
#include "Output.h"
#include "Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include <systemd/sd-bus.h>

namespace client {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

namespace {

constexpr int ExitFailed = 1;
constexpr int ExitUsage = 2;
constexpr milliseconds DefaultPatience = 30s;
constexpr milliseconds LongestPatience = 1h;
constexpr milliseconds CompletionPatience = 100ms;

constexpr Option Timeout{"--timeout", 't', "a number of seconds"};

int failed(const std::string& reason, int status = ExitFailed)
{
    complain(reason);
    return status;
}

int failed(const Failure& failure)
{
    static const std::string errors = std::string(QuillonInterface) + ".Error.";
    const bool misunderstood = failure.name == errors + "Ambiguous" || failure.name == errors + "NotFound" ||
                               failure.name == errors + "Invalid";
    complainInLines(failure.reason);
    return misunderstood ? ExitUsage : ExitFailed;
}

template <class Number>
std::optional<Number> number(const std::string& text)
{
    Number read = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), read);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(read) : std::nullopt;
}

using Append = std::function<void(sd_bus_message*)>;

Append strings(std::vector<std::string> texts)
{
    return [texts = std::move(texts)](sd_bus_message* call) {
        for (const std::string& text : texts)
            sd_bus_message_append(call, "s", text.c_str());
    };
}

/// Calls the program, which is started if necessary, and waits until the service has answered it.
tl::expected<Message, Failure> call(const char* method, const Append& append, const Arguments& arguments)
{
    milliseconds patience = DefaultPatience;
    if (arguments.has("--timeout")) {
        const auto seconds = number<double>(arguments.value("--timeout"));
        if (!seconds || !(*seconds > 0) || *seconds > std::chrono::duration<double>(LongestPatience).count())
            return tl::unexpected(Failure{std::string(QuillonInterface) + ".Error.Invalid",
                                          filled(tr("“%1” is no number of seconds"), {arguments.value("--timeout")})});
        patience = std::chrono::duration_cast<milliseconds>(std::chrono::duration<double>(*seconds));
    }
    const auto bus = Bus::open();
    if (!bus)
        return tl::unexpected(Failure{{}, bus.error()});
    const auto sayWhy = [&bus] {
        const auto wait = bus->call(BookingsInterface, "Wait", {}, CompletionPatience);
        std::uint32_t left = 0;
        if (wait && sd_bus_message_read(wait->get(), "u", &left) > 0 && left > 0)
            complain(filled(tr("waits %1 s: the service takes 36 requests in 15 seconds"),
                            {std::to_string((left + 999) / 1000)}));
    };
    return bus->call(BookingsInterface, method, append, patience, Bus::Start::IfNecessary, sayWhy);
}

int print(const std::string& text)
{
    return std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0 ? ExitFailed : 0;
}

/// One that returns an entry: says what became of it.
int act(const char* method, const Append& append, const Arguments& arguments, const char* said)
{
    const auto reply = call(method, append, arguments);
    return reply ? print(tr(said) + std::string(" ") + oneLine(readMap(**reply)) + '\n') : failed(reply.error());
}

Format formatOf(const Arguments& arguments)
{
    return arguments.has("--json") ? Format::Json : arguments.has("--csv") ? Format::Csv : Format::Text;
}

/// How many words a command takes.
struct Words
{
    std::size_t least;
    std::size_t most;
    const char* named; ///< what they are
};

using Parsed = tl::expected<Arguments, std::string>;

Parsed parse(const std::string& command, const std::vector<std::string>& words, const Words& takes,
             std::initializer_list<Option> options)
{
    auto parsed = Arguments::parse(command, words, options);
    if (parsed && (parsed->words.size() < takes.least || parsed->words.size() > takes.most))
        return tl::unexpected(
            filled(*takes.named ? tr("usage: quillon %1 %2") : tr("usage: quillon %1"), {command, takes.named}));
    return parsed;
}

std::string word(const Arguments& arguments, std::size_t which)
{
    return which < arguments.words.size() ? arguments.words[which] : std::string();
}

constexpr Option Note{"--note", 'n', "a text"};

int start(const Arguments& given)
{
    return act(
        "Start",
        [&](sd_bus_message* call) {
            sd_bus_message_append(call, "sss", word(given, 0).c_str(), word(given, 1).c_str(),
                                  given.value("--note").c_str());
            sd_bus_message_append(call, "a{sv}", 2, "at", "s", given.value("--at").c_str(), "ago", "s",
                                  given.value("--ago").c_str());
        },
        given, "Started");
}

int stop(const Arguments& given)
{
    return act("Stop", {}, given, "Stopped");
}

int resume(const Arguments& given)
{
    const auto which = given.words.empty() ? std::optional(1U) : number<unsigned>(given.words.front());
    if (!which)
        return failed(filled(tr("“%1” is no number: quillon recent lists the bookings"), {given.words.front()}),
                      ExitUsage);
    return act(
        "Continue", [which](sd_bus_message* call) { sd_bus_message_append(call, "u", *which); }, given, "Started");
}

int add(const Arguments& given)
{
    return act("Add",
               strings({word(given, 0), word(given, 1), word(given, 2), given.value("--note"), given.value("--day")}),
               given, "Added");
}

int note(const Arguments& given)
{
    std::string text;
    for (const std::string& each : given.words)
        text += (text.empty() ? "" : " ") + each;
    return act("SetNotes", strings({text}), given, "Noted");
}

int list(const char* method, const Append& append, const Arguments& given,
         std::string (*shown)(const std::vector<Map>&, Format))
{
    const auto reply = call(method, append, given);
    return reply ? print(shown(readMaps(**reply), formatOf(given))) : failed(reply.error());
}

int log(const Arguments& given)
{
    return list("Log", strings({word(given, 0)}), given, entries);
}

int projects(const Arguments& given)
{
    return list("Projects", {}, given, projectList);
}

int recent(const Arguments& given)
{
    return list("Recent", {}, given, recentList);
}

struct Command
{
    const char* name;
    Words takes;
    std::initializer_list<Option> options;
    int (*run)(const Arguments&);
};

constexpr std::size_t AnyNumber = 10'000;
constexpr std::initializer_list<Option> StartOptions{
    Note, {"--at", 0, "a time of day"}, {"--ago", 0, "a length of time"}, Timeout};
constexpr std::initializer_list<Option> AddOptions{Note, {"--day", 'd', "a day"}, Timeout};
constexpr std::initializer_list<Option> ListOptions{{"--json"}, {"--csv"}, Timeout};
constexpr std::initializer_list<Option> JsonOptions{{"--json"}, Timeout};
constexpr std::initializer_list<Option> OnlyTimeout{Timeout};

constexpr std::array Commands{
    Command{"start", {1, 2, "PROJECT [TASK] [-n NOTE] [--at TIME | --ago LENGTH]"}, StartOptions, start},
    Command{"stop", {0, 0, ""}, OnlyTimeout, stop},
    Command{"continue", {0, 1, "[N]"}, OnlyTimeout, resume},
    Command{"add", {2, 3, "HOURS PROJECT [TASK] [-n NOTE] [--day DAY]"}, AddOptions, add},
    Command{"note", {1, AnyNumber, "TEXT"}, OnlyTimeout, note},
    Command{"log", {0, 1, "[today|yesterday|week|DATE..DATE] [--json|--csv]"}, ListOptions, log},
    Command{"projects", {0, 0, "[--json]"}, JsonOptions, projects},
    Command{"recent", {0, 0, "[--json]"}, JsonOptions, recent},
};

} // namespace

std::optional<int> runBookingCommand(const std::string& command, const std::vector<std::string>& words)
{
    const auto* known = std::ranges::find(Commands, command, &Command::name);
    if (known == Commands.end())
        return std::nullopt;
    const Parsed given = parse(command, words, known->takes, known->options);
    return given ? known->run(*given) : failed(given.error(), ExitUsage);
}

void complete(const std::vector<std::string>& words)
{
    // The words so far without the last, which the shell filters by: start, or add and its hours.
    if (words.empty() || (words.front() != "start" && words.front() != "add"))
        return;
    const auto parsed = Arguments::parse(words.front(), {words.begin() + 1, words.end()},
                                         {Note, {"--at", 0, ""}, {"--ago", 0, ""}, {"--day", 'd', ""}, Timeout});
    const std::size_t skipped = words.front() == "add" ? 1 : 0;
    const auto bus = Bus::open();
    if (!parsed || !bus || parsed->words.size() < skipped || parsed->words.size() > skipped + 1)
        return;
    const auto reply = bus->call(BookingsInterface, "Names", strings({word(*parsed, skipped)}), CompletionPatience);
    for (const std::string& name : reply ? readStrings(**reply) : std::vector<std::string>())
        std::puts(printable(name).c_str());
}

} // namespace client
