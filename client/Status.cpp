#include "Status.h"

#include "Text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <ctime>

#include <poll.h>
#include <sys/stat.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

namespace client {

using namespace std::chrono_literals;

namespace {

constexpr auto Patience = 2s;

using Values = std::map<std::string, std::string>;

/// What the status item shows: the hours, or why there are none.
std::string shown(const std::string& state, const std::string& hours)
{
    if (state == "not-running")
        return {};
    if (state == "offline")
        return tr("offline");
    if (state == "signed-out")
        return tr("signed out");
    return hours;
}

/// A day as the timesheet writes it; anything else unchanged.
std::string day(const std::string& isoDate)
{
    std::tm date{};
    if (!strptime(isoDate.c_str(), "%Y-%m-%d", &date))
        return isoDate;
    std::array<char, 64> words{};
    std::strftime(words.data(), words.size(), "%A, %B ", &date);
    return words.data() + std::to_string(date.tm_mday) + ", " + std::to_string(date.tm_year + 1900);
}

std::string symbol(const std::string& state)
{
    if (state == "not-running")
        return {};
    return state == "running" ? "●" : "○";
}

/// Every value by the name of its placeholder, each on one line.
Values values(const Map& properties)
{
    const auto one = [&](const char* property) { return simplified(text(properties, property)); };
    const std::string state = properties.empty() ? "not-running" : one("State");
    const std::string hours = one("Hours");
    return {
        {"text", shown(state, hours)},   {"hours", hours},      {"state", state},          {"symbol", symbol(state)},
        {"project", one("Project")},     {"task", one("Task")}, {"client", one("Client")}, {"notes", one("Notes")},
        {"running-on", one("RunningOn")}};
}

std::string joined(std::initializer_list<std::string> texts, const char* separator)
{
    std::string result;
    for (const std::string& text : texts) {
        if (!text.empty())
            result += (result.empty() ? "" : separator) + text;
    }
    return result;
}

/// The format with the values in it. Fails with what is no placeholder.
tl::expected<std::string, std::string> fill(const std::string& format, const Values& values)
{
    std::string filled;
    for (std::size_t i = 0; i < format.size(); ++i) {
        if (format[i] != '{' && format[i] != '}') {
            filled += format[i];
        } else if (i + 1 < format.size() && format[i + 1] == format[i]) {
            filled += format[i++];
        } else if (format[i] == '{') {
            const std::size_t end = std::min(format.find('}', i), format.size());
            const auto value = values.find(format.substr(i + 1, end - i - 1));
            if (end == format.size() || value == values.end())
                return tl::unexpected(format.substr(i, end - i + 1));
            filled += value->second;
            i = end;
        } else {
            filled += '}';
        }
    }
    return filled;
}

Map propertiesOf(const tl::expected<Message, Failure>& reply)
{
    if (reply)
        return readMap(**reply);
    // Its name appears before the interface, which comes with the first window.
    if (reply.error().name == SD_BUS_ERROR_UNKNOWN_INTERFACE)
        return {{"State", "starting"}, {"Hours", "-:--"}};
    return {};
}

tl::expected<Message, Failure> ask(const Bus& bus)
{
    return bus.call(
        PropertiesInterface, "GetAll", [](sd_bus_message* call) { sd_bus_message_append(call, "s", QuillonInterface); },
        Patience);
}

/// Prints a line whenever the status line changes.
class Follower
{
public:
    Follower(const StatusCommand& command, const Bus& bus) : m_command(command), m_bus(bus) {}

    int run()
    {
        const auto noteChange = [](sd_bus_message* signal, void* data, sd_bus_error*) {
            auto& self = *static_cast<Follower*>(data);
            const char* interface = "";
            sd_bus_message_read(signal, "s", &interface);
            if (interface == std::string_view(QuillonInterface))
                self.changed(readMap(*signal));
            return 0;
        };
        const auto noteOwner = [](sd_bus_message*, void* data, sd_bus_error*) {
            static_cast<Follower*>(data)->m_stale = true;
            return 0;
        };
        sd_bus* bus = m_bus.get();
        if (sd_bus_match_signal(bus, nullptr, BusName, BusPath, PropertiesInterface, "PropertiesChanged", noteChange,
                                this) < 0 ||
            sd_bus_add_match(bus, nullptr,
                             "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
                             "member='NameOwnerChanged',arg0='com.wrenfold.quillon'",
                             noteOwner, this) < 0)
            return busIsGone();
        // A bar that ends closes the pipe, noticed at once; otherwise only the next line would fail.
        struct stat output
        {
        };
        const bool isPipe =
            fstat(STDOUT_FILENO, &output) == 0 && (S_ISFIFO(output.st_mode) || S_ISSOCK(output.st_mode));
        for (;;) {
            if (std::exchange(m_stale, false)) {
                show(propertiesOf(ask(m_bus)));
                if (m_ended)
                    return 0;
            }
            const int did = sd_bus_process(bus, nullptr);
            if (did < 0)
                return busIsGone();
            if (m_ended)
                return 0;
            if (did > 0 || m_stale)
                continue;
            std::array descriptors{pollfd{sd_bus_get_fd(bus), static_cast<short>(sd_bus_get_events(bus)), 0},
                                   pollfd{isPipe ? STDOUT_FILENO : -1, 0, 0}};
            if (poll(descriptors.data(), descriptors.size(), -1) < 0 && errno != EINTR)
                return busIsGone();
            if ((descriptors[1].revents & (POLLERR | POLLHUP)) != 0)
                return 0;
        }
    }

private:
    static int busIsGone()
    {
        complain(tr("the session bus is gone"));
        return 1;
    }

    void changed(const Map& properties)
    {
        // Until there is a complete answer, a change is not complete either.
        if (m_properties.empty()) {
            m_stale = true;
            return;
        }
        Map now = m_properties;
        for (const auto& [name, value] : properties)
            now.insert_or_assign(name, value);
        show(now);
    }

    void show(const Map& properties)
    {
        m_properties = properties;
        // Some bars ignore an empty line, and go on showing the hours of a program that is gone.
        std::string now = m_command.json       ? m_command.text.json(properties)
                          : properties.empty() ? " "
                                               : m_command.text.line(properties);
        if (now == m_line)
            return;
        m_line = std::move(now);
        if (std::puts(m_line->c_str()) < 0 || std::fflush(stdout) != 0)
            m_ended = true;
    }

    const StatusCommand& m_command;
    const Bus& m_bus;
    Map m_properties; ///< empty: the program is not running
    std::optional<std::string> m_line;
    bool m_stale = true; ///< ask for all properties
    bool m_ended = false;
};

} // namespace

tl::expected<StatusText, std::string> StatusText::parse(const std::string& format)
{
    if (const auto filledWithNothing = fill(format, values({})); !filledWithNothing)
        return tl::unexpected(filled(tr("there is no placeholder \"%1\" in --format"), {filledWithNothing.error()}));
    StatusText parsed;
    parsed.m_format = format;
    return parsed;
}

std::string StatusText::line(const Map& properties) const
{
    // A bar has nothing to show then, whatever the format puts around its placeholders.
    if (properties.empty())
        return {};
    const Values all = values(properties);
    if (m_format)
        return fill(*m_format, all).value_or("");
    const std::string& state = all.at("state");
    const bool timing = state == "running" || state == "stopped";
    const std::string& elsewhere = all.at("running-on");
    return joined(
        {joined({timing ? all.at("hours") + ' ' + state : all.at("text"), all.at("project"), all.at("task")}, ", "),
         elsewhere.empty() ? "" : filled(tr("a timer is running on %1"), {day(elsewhere)})},
        "; ");
}

std::string StatusText::json(const Map& properties) const
{
    const Values all = values(properties);
    nlohmann::json object(all);
    if (m_format)
        object["text"] = properties.empty() ? "" : fill(*m_format, all).value_or("");
    object.erase("symbol");
    for (const char* name : {"alt", "class"})
        object[name] = all.at("state");
    object["tooltip"] = joined({StatusText().line(properties), all.at("notes")}, "\n");
    for (const auto& [name, property] :
         {std::pair{"running", "Running"}, {"offline", "Offline"}, {"signedOut", "SignedOut"}})
        object[name] = flag(properties, property);
    return object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

int StatusCommand::run(const Bus& bus) const
{
    if (follow)
        return Follower(*this, bus).run();
    const auto reply = ask(bus);
    const Map properties = propertiesOf(reply);
    if (properties.empty()) {
        complain(reply ? tr("the running program does not understand this") : reply.error().reason);
        return 1;
    }
    const std::string line = json ? text.json(properties) : text.line(properties);
    return std::puts((isatty(STDOUT_FILENO) != 0 ? printable(line) : line).c_str()) < 0 ? 1 : 0;
}

} // namespace client
