#include "Ledger.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace {

constexpr int MostHours = 24; // that an entry may have

}

void Ledger::apply(const Wish& wish, Seconds now)
{
    if (wish.kind == Wish::Add) {
        if (archived)
            return;
        Entry& made = entries[++m_last] = wish.entry;
        made.booked = std::max(wish.minutes, 0) * Seconds{60};
        made.updated = now;
        if (made.booked == 0)
            run(m_last, now);
        made.updated = now;
        return;
    }
    const auto found = entries.find(wish.id);
    if (found == entries.end())
        return;
    Entry& entry = found->second;
    // A timer may be stopped whatever has become of its entry.
    const bool stops = wish.kind == Wish::Toggle && entry.runsSince;
    if (entry.locked && !stops)
        return;
    switch (wish.kind) {
    case Wish::Toggle:
        if (stops)
            stop(entry, now);
        else if (!archived)
            run(wish.id, now);
        break;
    case Wish::Update:
        if (wish.minutes > MostHours * 60)
            return;
        entry.notes = wish.notes.value_or(entry.notes);
        if (wish.minutes >= 0) {
            entry.booked = wish.minutes * Seconds{60};
            if (entry.runsSince)
                entry.runsSince = now;
        }
        touch(entry, now);
        break;
    case Wish::Correct:
        if (entry.updated > wish.known || wish.hours > MostHours)
            return; // changed by someone else since, or too much
        entry.booked = std::llround(wish.hours * 3600);
        entry.runsSince.reset();
        touch(entry, now);
        break;
    default:
        entries.erase(found);
    }
}

void Ledger::stop(Entry& entry, Seconds now)
{
    entry.booked = entry.total(now);
    entry.runsSince.reset();
    touch(entry, now);
}

void Ledger::run(Id id, Seconds now)
{
    Entry& entry = entries.at(id);
    for (auto& [other, candidate] : entries) {
        if (other != id && candidate.account == entry.account && candidate.runsSince)
            stop(candidate, now);
    }
    entry.runsSince = now;
    touch(entry, now);
}

void Ledger::touch(Entry& entry, Seconds now)
{
    entry.updated = std::max(now, entry.updated + 1); // two changes within a second are two
}

bool Ledger::shows(const std::string& text, Seconds seconds)
{
    for (const Seconds near : {seconds, seconds - 1, seconds + 1}) {
        const auto minutes = static_cast<int>((near % 3600 + 30) / 60);
        std::array<char, 32> expected{};
        std::snprintf(expected.data(), expected.size(), "%d:%02d", static_cast<int>(near / 3600), minutes % 60);
        if (near >= 0 && text == expected.data())
            return true;
    }
    return false;
}

std::string Ledger::dayOf(Seconds moment)
{
    std::tm local{};
    const std::time_t time = moment;
    ::localtime_r(&time, &local);
    std::array<char, 16> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%d", &local);
    return text.data();
}
