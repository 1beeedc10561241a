#include "Bus.h"

#include "Place.h"
#include "Text.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>

#include <fcntl.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

namespace client {

using namespace std::chrono_literals;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

constexpr auto LongBeforeReply = 1s;
constexpr auto LongestStart = 10s;
constexpr microseconds PauseWhileItStarts = 20ms;

std::optional<Value> readVariant(sd_bus_message& message)
{
    const char* contents = nullptr;
    char type = 0;
    if (sd_bus_message_peek_type(&message, &type, &contents) <= 0 || type != SD_BUS_TYPE_VARIANT)
        return std::nullopt;
    const std::string held = contents;
    if (sd_bus_message_enter_container(&message, SD_BUS_TYPE_VARIANT, held.c_str()) < 0)
        return std::nullopt;
    std::optional<Value> value;
    if (held == "s") {
        const char* string = "";
        sd_bus_message_read(&message, "s", &string);
        value = std::string(string);
    } else if (held == "b") {
        int boolean = 0;
        sd_bus_message_read(&message, "b", &boolean);
        value = boolean != 0;
    } else if (held == "d") {
        double number = 0;
        sd_bus_message_read(&message, "d", &number);
        value = number;
    } else if (held == "as") {
        value = readStrings(message);
    } else {
        sd_bus_message_skip(&message, held.c_str());
    }
    sd_bus_message_exit_container(&message);
    return value;
}

/// Starts the program where the bus cannot: it is not installed, but built.
void startProgram()
{
    const std::string program = fileOfProgram("quillon-desktop");
    const pid_t child = fork();
    if (child > 0)
        waitpid(child, nullptr, 0);
    if (child != 0)
        return;
    // Of nobody's terminal, and nobody's child.
    setsid();
    if (fork() != 0)
        _exit(0);
    const int nothing = open("/dev/null", O_RDWR);
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        dup2(nothing, descriptor);
    execl(program.c_str(), "quillon", "--background", nullptr);
    _exit(127);
}

std::string reasonOf(const Bus& bus, const sd_bus_error& error)
{
    const std::string_view name = error.name;
    if (name.starts_with(QuillonInterface))
        return error.message;
    if (name == SD_BUS_ERROR_SERVICE_UNKNOWN || name == SD_BUS_ERROR_NAME_HAS_NO_OWNER)
        return tr("the program is not running");
    if (name.starts_with("org.freedesktop.DBus.Error.Spawn"))
        return tr("the program could not be started");
    if (name != SD_BUS_ERROR_NO_REPLY && name != SD_BUS_ERROR_TIMEOUT && name != "System.Error.ETIMEDOUT")
        return filled(tr("the running program does not understand this (%1)"), {error.message ? error.message : name});
    // It has the call, and may come back to it; the bus reports the same of one that is gone.
    return bus.isRunning() ? tr("the running program does not answer, and may still do it")
                           : tr("the program quit before it answered");
}

} // namespace

void Unref::operator()(sd_bus* bus) const
{
    sd_bus_unref(bus);
}

void Unref::operator()(sd_bus_message* message) const
{
    sd_bus_message_unref(message);
}

tl::expected<Bus, std::string> Bus::open()
{
    sd_bus* bus = nullptr;
    if (sd_bus_open_user(&bus) < 0)
        return tl::unexpected<std::string>(tr("there is no session bus"));
    return Bus(bus);
}

bool Bus::isRunning() const
{
    return sd_bus_get_name_creds(get(), BusName, 0, nullptr) >= 0;
}

tl::expected<Message, Failure> Bus::call(const char* interface, const char* method,
                                         const std::function<void(sd_bus_message*)>& arguments, milliseconds patience,
                                         Start start, const std::function<void()>& meanwhile) const
{
    const auto make = [&] {
        sd_bus_message* made = nullptr;
        sd_bus_message_new_method_call(get(), &made, BusName, BusPath, interface, method);
        sd_bus_message_set_auto_start(made, start == Start::IfNecessary ? 1 : 0);
        if (arguments)
            arguments(made);
        return Message(made);
    };
    struct Answer
    {
        bool came = false;
        Message message;
    };
    const auto deadline = steady_clock::now() + patience;
    const auto remaining = [&] {
        return std::max(std::chrono::duration_cast<microseconds>(deadline - steady_clock::now()), microseconds(1));
    };
    std::optional<steady_clock::time_point> started;
    for (auto saidAt = steady_clock::now() + LongBeforeReply;;) {
        Answer answer;
        const Message message = make();
        sd_bus_slot* slot = nullptr;
        const int sent = sd_bus_call_async(
            get(), &slot, message.get(),
            [](sd_bus_message* reply, void* data, sd_bus_error*) {
                auto& answer = *static_cast<Answer*>(data);
                answer.came = true;
                answer.message.reset(sd_bus_message_ref(reply));
                return 0;
            },
            &answer, static_cast<std::uint64_t>(remaining().count()));
        bool said = !meanwhile;
        while (sent >= 0 && !answer.came) {
            const int did = sd_bus_process(get(), nullptr);
            if (did < 0)
                break;
            if (did > 0)
                continue;
            if (!said && steady_clock::now() >= saidAt) {
                said = true;
                meanwhile();
                continue;
            }
            const microseconds wait = said ? remaining() : std::min(remaining(), microseconds(LongBeforeReply));
            sd_bus_wait(get(), static_cast<std::uint64_t>(wait.count()));
        }
        sd_bus_slot_unref(slot);
        if (!answer.came)
            return tl::unexpected(Failure{"", tr("the session bus is gone")});
        const sd_bus_error* error = sd_bus_message_get_error(answer.message.get());
        if (!error)
            return std::move(answer.message);
        const std::string_view name = error->name;
        const bool isLeaving = name == SD_BUS_ERROR_UNKNOWN_OBJECT; // one that quits, and has not read the call
        if (start == Start::Never || (name != SD_BUS_ERROR_SERVICE_UNKNOWN && !isLeaving))
            return tl::unexpected(Failure{error->name, reasonOf(*this, *error)});
        if (!started) {
            // A build that nobody installed: the bus knows no file that starts it.
            if (!isLeaving) {
                startProgram();
                started = steady_clock::now();
            }
        } else if (steady_clock::now() - *started > LongestStart) {
            return tl::unexpected(
                Failure{error->name, tr("the program could not be started: start it by hand to see why")});
        }
        usleep(static_cast<useconds_t>(PauseWhileItStarts.count()));
    }
}
Map readMap(sd_bus_message& message)
{
    Map map;
    if (sd_bus_message_enter_container(&message, SD_BUS_TYPE_ARRAY, "{sv}") < 0)
        return map;
    while (sd_bus_message_enter_container(&message, SD_BUS_TYPE_DICT_ENTRY, "sv") > 0) {
        const char* key = "";
        sd_bus_message_read(&message, "s", &key);
        if (auto value = readVariant(message))
            map.insert_or_assign(key, std::move(*value));
        sd_bus_message_exit_container(&message);
    }
    sd_bus_message_exit_container(&message);
    return map;
}

std::vector<Map> readMaps(sd_bus_message& message)
{
    std::vector<Map> maps;
    if (sd_bus_message_enter_container(&message, SD_BUS_TYPE_ARRAY, "a{sv}") < 0)
        return maps;
    while (sd_bus_message_at_end(&message, 0) == 0)
        maps.push_back(readMap(message));
    sd_bus_message_exit_container(&message);
    return maps;
}

std::vector<std::string> readStrings(sd_bus_message& message)
{
    std::vector<std::string> strings;
    if (sd_bus_message_enter_container(&message, SD_BUS_TYPE_ARRAY, "s") < 0)
        return strings;
    const char* string = nullptr;
    while (sd_bus_message_read(&message, "s", &string) > 0)
        strings.emplace_back(string);
    sd_bus_message_exit_container(&message);
    return strings;
}

std::string text(const Map& map, const std::string& key)
{
    const auto found = map.find(key);
    const auto* string = found == map.end() ? nullptr : std::get_if<std::string>(&found->second);
    return string ? *string : std::string();
}

bool flag(const Map& map, const std::string& key)
{
    const auto found = map.find(key);
    const bool* boolean = found == map.end() ? nullptr : std::get_if<bool>(&found->second);
    return boolean && *boolean;
}

} // namespace client
