#pragma once

#include <string>
#include <vector>

namespace bench {

/// The limit of a measurement, and its target.
struct Limits
{
    double must;
    double aim;
};

/// One line: the value with its limits, each "ok" or "over", and how it came about.
void report(const std::string& what, double value, const char* unit, Limits limits, const std::string& detail);

/// A line without limits.
void note(const std::string& text);

/// Printed text, as by printf.
[[gnu::format(printf, 1, 2)]] std::string text(const char* format, ...);

double median(std::vector<double> values);
double largest(const std::vector<double>& values);

/// Two ways to do the same work, measured in turns: A B A B.
struct Pairs
{
    std::vector<double> ours;
    std::vector<double> bare;

    /// The quotient of the medians.
    double ratio() const { return median(ours) / median(bare); }
    std::string detail(const char* unit) const;
};

template <class Ours, class Bare>
Pairs pairs(int count, Ours ours, Bare bare)
{
    // The first turn warms caches and does not count.
    ours();
    bare();
    Pairs measured;
    for (int i = 0; i < count; ++i) {
        measured.ours.push_back(ours());
        measured.bare.push_back(bare());
    }
    return measured;
}

/// Seconds of a clock that never jumps.
double now();

/// Processor seconds used by this process. Where nothing waits, this is what a person would wait on an idle machine;
/// and on a busy one it is still the same.
double processorTime();

} // namespace bench
