#include "booking/Names.h"

#include <QCoreApplication>

#include <algorithm>
#include <array>
#include <functional>
#include <numeric>

namespace booking {

using namespace Qt::StringLiterals;

namespace {

constexpr std::size_t MostChoices = 20;
constexpr std::size_t MostNearest = 3;
/// Longer ones are compared by their beginnings.
constexpr qsizetype LongestCompared = 64;

QString tr(const char* text)
{
    return QCoreApplication::translate("booking::Names", text);
}

/// How many letters must be changed, added or left out to make one of the other (Levenshtein).
int distance(QStringView one, QStringView other)
{
    std::vector<int> row(static_cast<std::size_t>(other.size()) + 1);
    std::iota(row.begin(), row.end(), 0);
    for (qsizetype i = 0; i < one.size(); ++i) {
        int diagonal = row[0]++;
        for (qsizetype j = 0; j < other.size(); ++j) {
            const auto at = static_cast<std::size_t>(j) + 1;
            const int replaced = diagonal + (one[i] == other[j] ? 0 : 1);
            diagonal = row[at];
            row[at] = std::min({replaced, row[at] + 1, row[at - 1] + 1});
        }
    }
    return row.back();
}

/// By the nearest of its names, also by the beginning of a word in one: people abbreviate.
int distance(const Named& named, const QString& folded)
{
    int least = std::numeric_limits<int>::max();
    for (const QString& name : named.names) {
        const QString whole = name.left(LongestCompared).toCaseFolded();
        least = std::min(least, distance(whole, folded));
        for (const QString& word : whole.split(u' ', Qt::SkipEmptyParts))
            least = std::min(least, 1 + distance(QStringView(word).left(folded.size()), folded));
    }
    return least;
}

QString listed(const std::vector<Named>& among, const std::vector<std::size_t>& found)
{
    QString lines;
    for (std::size_t i = 0; i < std::min(found.size(), MostChoices); ++i)
        lines += u"\n  "_s + among[found[i]].shown.simplified();
    if (found.size() > MostChoices)
        lines += u"\n  "_s + tr("and %1 more").arg(found.size() - MostChoices);
    return lines;
}

std::vector<std::size_t> nearest(const std::vector<Named>& among, const QString& folded)
{
    std::vector<std::pair<int, std::size_t>> byDistance;
    for (std::size_t i = 0; i < among.size(); ++i)
        byDistance.emplace_back(distance(among[i], folded), i);
    const auto count = std::min(byDistance.size(), MostNearest);
    std::ranges::partial_sort(byDistance, byDistance.begin() + static_cast<std::ptrdiff_t>(count));
    std::vector<std::size_t> nearest;
    for (std::size_t i = 0; i < count; ++i)
        nearest.push_back(byDistance[i].second);
    return nearest;
}

} // namespace

Expected<std::size_t> find(const std::vector<Named>& among, const QString& typed, const QString& what)
{
    const QString trimmed = typed.trimmed();
    if (trimmed.isEmpty())
        return tl::unexpected(Refusal{"NotFound"_L1, tr("name a %1").arg(what)});
    using Match = std::function<bool(const QString&)>;
    const std::array matches{
        Match([&](const QString& name) { return name.compare(trimmed, Qt::CaseInsensitive) == 0; }),
        Match([&](const QString& name) { return name.startsWith(trimmed, Qt::CaseInsensitive); }),
        Match([&](const QString& name) { return name.contains(trimmed, Qt::CaseInsensitive); })};
    for (const Match& match : matches) {
        std::vector<std::size_t> found;
        for (std::size_t i = 0; i < among.size(); ++i) {
            if (std::ranges::any_of(among[i].names, match))
                found.push_back(i);
        }
        if (found.size() == 1)
            return found.front();
        if (!found.empty())
            return tl::unexpected(Refusal{"Ambiguous"_L1, tr("“%1” could be more than one %2:").arg(trimmed, what) +
                                                              listed(among, found)});
    }
    QString reason = tr("there is no %1 “%2”").arg(what, trimmed);
    if (!among.empty())
        reason +=
            tr("; the nearest are:") + listed(among, nearest(among, trimmed.left(LongestCompared).toCaseFolded()));
    return tl::unexpected(Refusal{"NotFound"_L1, reason});
}

} // namespace booking
