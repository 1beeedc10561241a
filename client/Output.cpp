#include "Output.h"

#include "Text.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdlib>

#include <unistd.h>

namespace client {

namespace {

constexpr std::array Weekdays{"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};
constexpr std::array Columns{"day",  "time",  "client",  "code",  "project",
                             "task", "notes", "started", "ended", "running"};

bool isTerminal()
{
    return isatty(STDOUT_FILENO) != 0;
}

enum class Look
{
    Plain,
    Heading,
    Running,
    Faint,
};

std::string styled(const std::string& text, Look look)
{
    static const bool colours = [] {
        const char* none = std::getenv("NO_COLOR");
        const char* terminal = std::getenv("TERM");
        return isTerminal() && (!none || !*none) && terminal && std::string_view(terminal) != "dumb";
    }();
    if (!colours || look == Look::Plain || text.empty())
        return text;
    const char* code = look == Look::Heading ? "1" : look == Look::Running ? "32" : "2";
    return std::string("\033[") + code + "m" + text + "\033[0m";
}

double hours(const Map& entry)
{
    const auto found = entry.find("hours");
    const auto* number = found == entry.end() ? nullptr : std::get_if<double>(&found->second);
    return number ? *number : 0;
}

std::string hoursMinutes(double hours)
{
    const long minutes = std::lround(hours * 60);
    const std::string rest = std::to_string(minutes % 60);
    return std::to_string(minutes / 60) + ':' + (rest.size() < 2 ? "0" : "") + rest;
}

std::string project(const Map& entry)
{
    const std::string code = text(entry, "code");
    return (code.empty() ? "" : '[' + code + "] ") + text(entry, "project");
}

nlohmann::json json(const Map& map)
{
    nlohmann::json object = nlohmann::json::object();
    for (const auto& [key, value] : map)
        std::visit([&, &key = key](const auto& held) { object[key] = held; }, value);
    return object;
}

std::string json(const std::vector<Map>& maps)
{
    nlohmann::json array = nlohmann::json::array();
    for (const Map& map : maps)
        array.push_back(json(map));
    return array.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + '\n';
}

std::string csvField(std::string text)
{
    // A spreadsheet would carry out what begins like a formula.
    if (!text.empty() && std::string_view("=+-@\t\r").find(text.front()) != std::string_view::npos)
        text.insert(0, "'");
    if (text.find_first_of(",\"\r\n") == std::string::npos)
        return text;
    for (std::size_t at = 0; (at = text.find('"', at)) != std::string::npos; at += 2)
        text.insert(at, "\"");
    return '"' + text + '"';
}

std::string csv(const std::vector<Map>& entries)
{
    std::string lines;
    const auto line = [&](const auto& field) {
        for (const char* column : Columns)
            lines += (column == Columns.front() ? "" : ",") + csvField(field(column));
        lines += "\r\n";
    };
    line([](const char* column) { return std::string(column); });
    for (const Map& entry : entries)
        line([&](const std::string& column) {
            return column == "running" ? std::string(flag(entry, column) ? "true" : "false") : text(entry, column);
        });
    return lines;
}

struct Cell
{
    std::string text;
    Look look = Look::Plain;
    bool right = false;
    std::string mark = {}; ///< behind the text; a space keeps its place
};

/// Rows in columns that are as wide as their widest cell; the last one is not filled up. In a pipe: with tabs.
std::string table(std::vector<std::vector<Cell>> rows)
{
    std::vector<int> widths;
    for (auto& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            row[i].text = printable(simplified(row[i].text)) + row[i].mark;
            widths.resize(std::max(widths.size(), i + 1));
            widths[i] = std::max(widths[i], columns(row[i].text));
        }
    }
    std::string lines;
    for (auto& row : rows) {
        while (isTerminal() && !row.empty() && row.back().text.empty())
            row.pop_back();
        for (std::size_t i = 0; i < row.size(); ++i) {
            const auto& [text, look, right, mark] = row[i];
            if (!isTerminal()) {
                lines += (i == 0 ? "" : "\t") + text;
                continue;
            }
            const std::string gap(static_cast<std::size_t>(widths[i] - columns(text)), ' ');
            lines += (i == 0 ? "" : "  ") + (right ? gap : "") + styled(text, look) +
                     (right || i + 1 == row.size() ? "" : gap);
        }
        lines += '\n';
    }
    return lines;
}

std::string dayName(const std::string& iso)
{
    using namespace std::chrono;
    int y = 0;
    unsigned m = 0;
    unsigned d = 0;
    if (std::sscanf(iso.c_str(), "%d-%u-%u", &y, &m, &d) != 3)
        return iso;
    const weekday name(sys_days(year(y) / month(m) / day(d)));
    return std::string(tr(Weekdays[name.c_encoding()])) + ' ' + iso;
}

std::vector<Cell> cells(const Map& entry, const std::string& unmarked)
{
    const bool runs = flag(entry, "running");
    const Look look = runs ? Look::Running : Look::Plain;
    std::string span = text(entry, "started");
    if (!span.empty())
        span += "–" + text(entry, "ended");
    return {{text(entry, "time"), look, true, runs ? "*" : unmarked},
            {span, Look::Faint},
            {project(entry), look},
            {text(entry, "task"), look},
            {text(entry, "notes"), Look::Faint}};
}

} // namespace

std::string entries(const std::vector<Map>& entries, Format format)
{
    if (format == Format::Json)
        return json(entries);
    if (format == Format::Csv)
        return csv(entries);
    const bool isMarked =
        std::any_of(entries.begin(), entries.end(), [](const Map& entry) { return flag(entry, "running"); });
    std::vector<std::vector<Cell>> rows;
    for (const Map& entry : entries) {
        std::vector<Cell> row = cells(entry, isMarked && isTerminal() ? " " : "");
        if (!isTerminal())
            row.insert(row.begin(), Cell{text(entry, "day")});
        rows.push_back(std::move(row));
    }
    if (!isTerminal())
        return table(std::move(rows));
    if (rows.empty())
        return std::string(tr("nothing was booked")) + '\n';
    // One table for all days, so that the columns stand below each other; then the days are put between its lines.
    std::string lines = table(std::move(rows));
    std::string shown;
    double total = 0;
    std::string day;
    for (std::size_t i = 0, at = 0; i < entries.size(); ++i) {
        if (const std::string of = text(entries[i], "day"); of != day) {
            double sum = 0;
            for (std::size_t j = i; j < entries.size() && text(entries[j], "day") == of; ++j)
                sum += hours(entries[j]);
            shown += (day.empty() ? "" : "\n") + styled(dayName(of) + "  " + hoursMinutes(sum), Look::Heading) + '\n';
            total += sum;
            day = of;
        }
        const std::size_t end = lines.find('\n', at) + 1;
        shown += lines.substr(at, end - at);
        at = end;
    }
    if (text(entries.front(), "day") != day)
        shown += '\n' + styled(filled(tr("Total %1"), {hoursMinutes(total)}), Look::Heading) + '\n';
    return shown;
}

std::string projectList(const std::vector<Map>& projects, Format format)
{
    if (format == Format::Json)
        return json(projects);
    std::vector<std::vector<Cell>> rows;
    for (const Map& each : projects) {
        std::string tasks;
        const auto found = each.find("tasks");
        if (const auto* names = found == each.end() ? nullptr : std::get_if<std::vector<std::string>>(&found->second)) {
            for (const std::string& name : *names)
                tasks += (tasks.empty() ? "" : ", ") + name;
        }
        rows.push_back({{text(each, "client"), Look::Faint}, {project(each)}, {tasks, Look::Faint}});
    }
    return table(std::move(rows));
}

std::string recentList(const std::vector<Map>& entries, Format format)
{
    if (format == Format::Json)
        return json(entries);
    std::vector<std::vector<Cell>> rows;
    for (std::size_t i = 0; i < entries.size(); ++i)
        rows.push_back({{std::to_string(i + 1), Look::Plain, true},
                        {text(entries[i], "day"), Look::Faint},
                        {project(entries[i])},
                        {text(entries[i], "task")},
                        {text(entries[i], "client"), Look::Faint}});
    return table(std::move(rows));
}

std::string oneLine(const Map& entry)
{
    std::string line = text(entry, "time") + "  " + project(entry) + ", " + text(entry, "task");
    if (const std::string notes = text(entry, "notes"); !notes.empty())
        line += ": " + notes;
    return printable(simplified(line));
}

} // namespace client
