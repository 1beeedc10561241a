#pragma once

#include "Database.h"
#include "Problem.h"

#include <optional>
#include <string>
#include <string_view>
#include <tl/expected.hpp>

namespace localservice {

class Form;
class RequestBody;

/// What a request says about an entry; absent fields stay as they are. Each field is read and checked separately.
struct EntryFields
{
    std::optional<Id> project;
    std::optional<Id> task;
    std::optional<Day> day;
    std::optional<std::string> notes;
    std::optional<double> hours;
    std::optional<Minutes> startedAt;
    std::optional<Minutes> endedAt;
    /// Whether the person changed the hours, where the sender knows.
    std::optional<bool> hoursTouched = {};
    /// When the person sent them, where the sender says: the request may have waited on the way.
    std::optional<Seconds> asOf = {};

    /// The elements project_id, task_id, spent_at, notes, hours, started_at, ended_at.
    static tl::expected<EntryFields, Problem> read(const RequestBody& body);
    /// The fields of a page's form: "booking" (project and task, "12-7"), "day", "notes", "hours", "started", "ended".
    /// Hours equal to those in "shown" were not edited.
    static tl::expected<EntryFields, Problem> read(const Form& form);
};

/// Hours as people type them: "1:30", ":30", "1.5", "1,5", "90m", "1h 30m". Nothing for anything else.
std::optional<double> readTypedHours(std::string_view text);

} // namespace localservice
