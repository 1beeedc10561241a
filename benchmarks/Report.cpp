#include "Report.h"

#include <algorithm>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace bench {

namespace {

constexpr char Separator = '\t';
constexpr const char* RowMark = "row";

std::vector<Row>* s_collected = nullptr;
std::vector<Row> s_before;

std::string today(const Row& row)
{
    return row.unit == "x" ? row.today : text("%.2f %s", row.value, row.unit.c_str());
}

std::string limit(double value, double limit)
{
    return text("%7.2f%c", limit, value <= limit ? ' ' : '!');
}

/// The value of another build, and how many times as much ours is.
std::string besideBefore(const Row& row)
{
    const auto before = std::ranges::find_if(s_before, [&row](const Row& other) { return other.figure == row.figure; });
    if (before == s_before.end())
        return {};
    return text("%9.2f %5.2fx", before->value, before->value == 0 ? 0 : row.value / before->value);
}

} // namespace

void heading(bool withBefore)
{
    note(text("%-56s %12s %8s%8s%8s %s how", "figure", "today", "must ", "aim ", "ratio ",
              withBefore ? "  before       " : ""));
}

void report(const Row& row)
{
    if (s_collected) {
        s_collected->push_back(row);
        return;
    }
    if (std::getenv(HandOver)) {
        note(encoded(row));
        return;
    }
    const std::string ratio = row.unit == "x" ? text("%.2fx", row.value) : "";
    note(text("%-56s %12s %s%s%8s %s %s", row.figure.c_str(), today(row).c_str(),
              limit(row.value, row.limits.must).c_str(), limit(row.value, row.limits.aim).c_str(), ratio.c_str(),
              besideBefore(row).c_str(), row.detail.c_str()));
}

void report(const std::string& what, double value, const char* unit, Limits limits, const std::string& detail)
{
    report({what, value, unit, limits, "", detail});
}

void report(const std::string& what, const Pairs& measured, const char* unit, Limits limits)
{
    report({what, measured.ratio(), "x", limits, text("%.2f %s", median(measured.ours), unit), measured.detail(unit)});
}

void collectRows(std::vector<Row>* rows)
{
    s_collected = rows;
}

void compareWith(std::vector<Row> before)
{
    s_before = std::move(before);
}

std::string encoded(const Row& row)
{
    std::ostringstream line;
    line.precision(12);
    line << RowMark << Separator << row.figure << Separator << row.value << Separator << row.unit << Separator
         << row.limits.must << Separator << row.limits.aim << Separator << row.today << Separator << row.detail;
    return line.str();
}

bool decode(const std::string& line, Row& row)
{
    std::vector<std::string> parts;
    std::istringstream stream(line);
    for (std::string part; std::getline(stream, part, Separator);)
        parts.push_back(part);
    parts.resize(std::max<std::size_t>(parts.size(), 8));
    if (parts[0] != RowMark)
        return false;
    row = {parts[1], std::strtod(parts[2].c_str(), nullptr),
           parts[3], {std::strtod(parts[4].c_str(), nullptr), std::strtod(parts[5].c_str(), nullptr)},
           parts[6], parts[7]};
    return true;
}

void note(const std::string& text)
{
    std::printf("%s\n", text.c_str());
    std::fflush(stdout);
}

std::string text(const char* format, ...)
{
    char buffer[400];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(buffer, sizeof buffer, format, arguments);
    va_end(arguments);
    return buffer;
}

double median(std::vector<double> values)
{
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

double largest(const std::vector<double>& values)
{
    return values.empty() ? 0 : *std::max_element(values.begin(), values.end());
}

std::string Pairs::detail(const char* unit) const
{
    std::vector<double> sorted = ours;
    std::sort(sorted.begin(), sorted.end());
    const auto at = [&sorted](std::size_t quarter) {
        return sorted.empty() ? 0 : sorted[(sorted.size() - 1) * quarter / 4];
    };
    return text("%.2f / %.2f %s, half of ours %.2f-%.2f, best %.2f / %.2f, %zu pairs", median(ours), median(bare), unit,
                at(1), at(3), at(0), bare.empty() ? 0 : *std::min_element(bare.begin(), bare.end()), ours.size());
}

double now()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

static double secondsOf(clockid_t clock)
{
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

double processorTime()
{
    return secondsOf(CLOCK_PROCESS_CPUTIME_ID);
}

double threadTime()
{
    return secondsOf(CLOCK_THREAD_CPUTIME_ID);
}

} // namespace bench
