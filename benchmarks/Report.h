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

/// A line of the table.
struct Row
{
    std::string figure;
    double value = 0; ///< what the limits are for
    std::string unit; ///< "x": the value is the ratio of ours to the bare program's
    Limits limits{};
    std::string today; ///< of a ratio: what ours took. May be empty
    std::string detail;
};

/// Prints the names of the columns.
void heading(bool withBefore);

/// One line: today's value, its limits, and the ratio to a bare program where there is one; behind a limit it exceeds
/// stands a mark. A program that quillon-bench has started hands the row over to it instead.
void report(const Row& row);
void report(const std::string& what, double value, const char* unit, Limits limits, const std::string& detail);

/// From now on rows go there instead (null: to the output).
void collectRows(std::vector<Row>* rows);
/// Those of another build, to be shown beside rows of the same names from now on.
void compareWith(std::vector<Row> before);

/// What a program hands over: the row in one line. Other lines are no rows.
std::string encoded(const Row& row);
bool decode(const std::string& line, Row& row);
/// In the environment of the programs that hand their rows over.
inline constexpr const char* HandOver = "QUILLON_BENCH_ROWS";

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
    /// Both medians, the middle half of ours, and the best of both: what a busy machine disturbs least.
    std::string detail(const char* unit) const;
};

/// A row with the ratio, and what ours took.
void report(const std::string& what, const Pairs& measured, const char* unit, Limits limits);

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
/// The same of this thread alone.
double threadTime();

} // namespace bench
