#include "Report.h"

#include <algorithm>
#include <chrono>
#include <cstdarg>
#include <cstdio>

namespace bench {

void report(const std::string& what, double value, const char* unit, Limits limits, const std::string& detail)
{
    const auto verdict = [value](double limit) { return value <= limit ? "ok" : "over"; };
    std::printf("%-48s %8.2f%-4s must %6.2f %-5s aim %6.2f %-5s %s\n", what.c_str(), value, unit, limits.must,
                verdict(limits.must), limits.aim, verdict(limits.aim), detail.c_str());
    std::fflush(stdout);
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
    return text("%.2f / %.2f %s, %zu pairs", median(ours), median(bare), unit, ours.size());
}

double now()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double processorTime()
{
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

} // namespace bench
