#include "EntryFields.h"

#include "RequestBody.h"
#include "pages/Form.h"

#include <algorithm>
#include <functional>

namespace localservice {

namespace {

tl::unexpected<Problem> invalid(std::string message, std::string field)
{
    return tl::unexpected(Problem{500, "Validation", std::move(message), std::move(field)});
}

/// Returns the text of the field with the sender's name for it.
using Source = std::function<std::optional<std::string>(const std::string& name)>;
using HoursReader = std::optional<double> (*)(std::string_view);

/// A field with text in it; an empty one counts as missing.
std::optional<std::string> filled(const Source& source, const std::string& name)
{
    auto text = source(name);
    if (text && text->find_first_not_of(" \t\r\n") == std::string::npos)
        text.reset();
    return text;
}

/// The clock time in a field: absent, unreadable (a problem) or a time.
tl::expected<std::optional<Minutes>, Problem> clockField(const Source& source, const std::string& name,
                                                         const std::string& what)
{
    const auto text = filled(source, name);
    if (!text)
        return std::nullopt;
    const auto minutes = readClock(*text);
    if (!minutes)
        return invalid("The " + what + " time cannot be read.", what == "start" ? "started" : "ended");
    return minutes;
}

tl::expected<EntryFields, Problem> readFrom(const Source& source, HoursReader readHoursOf)
{
    EntryFields fields;
    fields.notes = source("notes");
    if (const auto text = filled(source, "project_id"))
        fields.project = idIn(*text);
    if (const auto text = filled(source, "task_id"))
        fields.task = idIn(*text);
    if (const auto text = filled(source, "spent_at")) {
        fields.day = readDay(*text);
        if (!fields.day)
            return invalid("The date cannot be read.", "day");
    }
    if (const auto text = filled(source, "hours")) {
        fields.hours = readHoursOf(*text);
        if (!fields.hours)
            return invalid("The hours cannot be read.", "hours");
    }
    const auto started = clockField(source, "started_at", "start");
    const auto ended = clockField(source, "ended_at", "end");
    if (!started || !ended)
        return tl::unexpected(!started ? started.error() : ended.error());
    fields.startedAt = *started;
    fields.endedAt = *ended;
    return fields;
}

} // namespace

tl::expected<EntryFields, Problem> EntryFields::read(const RequestBody& body)
{
    return readFrom([&](const std::string& name) { return body.field(name); }, readHours);
}

tl::expected<EntryFields, Problem> EntryFields::read(const Form& form)
{
    const std::string booking = form.trimmed("booking");
    if (booking.empty())
        return invalid("Choose a project and a task.", "booking");
    const auto dash = std::min(booking.find('-'), booking.size());
    const auto source = [&](const std::string& name) -> std::optional<std::string> {
        if (name == "project_id")
            return booking.substr(0, dash);
        if (name == "task_id")
            return booking.substr(std::min(dash + 1, booking.size()));
        const std::string own = name == "spent_at"     ? "day"
                                : name == "started_at" ? "started"
                                : name == "ended_at"   ? "ended"
                                                       : name;
        return form.has(own) ? std::optional(form.text(own)) : std::nullopt;
    };
    auto fields = readFrom(source, readTypedHours);
    if (!fields)
        return fields;
    fields->hoursTouched = form.has("hours") && form.trimmed("hours") != form.text("shown");
    if (!*fields->hoursTouched)
        fields->hours.reset();
    return fields;
}

std::optional<double> readTypedHours(std::string_view text)
{
    std::string plain;
    for (const char c : text) {
        if (c != ' ' && c != '\t' && c != '\n')
            plain += c == ',' ? '.' : static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
    }
    if (const auto colon = plain.find(':'); colon != std::string::npos) {
        const auto hours = colon == 0 ? std::optional(0.0) : readHours(plain.substr(0, colon));
        const auto minutes = readHours(plain.substr(colon + 1));
        const bool whole = plain.find('.') == std::string::npos && plain.size() - colon <= 3;
        return hours && minutes && whole && *minutes < 60 ? std::optional(*hours + *minutes / 60) : std::nullopt;
    }
    double hours = 0;
    const auto mark = plain.find('h');
    if (mark != std::string::npos) {
        const auto before = readHours(plain.substr(0, mark));
        if (!before || mark + 1 == plain.size())
            return before;
        hours = *before;
        plain.erase(0, mark + 1);
    }
    const std::size_t unit = plain.ends_with("min") ? 3 : plain.ends_with('m') ? 1 : 0;
    if (unit == 0 && mark == std::string::npos)
        return readHours(plain);
    const auto minutes = readHours(plain.substr(0, plain.size() - unit));
    return minutes ? std::optional(hours + *minutes / 60) : std::nullopt;
}

} // namespace localservice
