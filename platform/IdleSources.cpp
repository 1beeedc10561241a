#include "IdleSources.h"

#include <algorithm>
#include <utility>

namespace platform {

using namespace std::chrono_literals;

namespace {

// Allows for the time between an answer and reading the clock, and for sources that count whole seconds.
constexpr TimeSource::Duration Slack = 1s;

} // namespace

IdleSources::IdleSources(const TimeSource& time, std::vector<Source> sources) : m_time(time)
{
    for (Source& source : sources)
        m_sources.push_back({std::move(source), {}});
}

std::optional<std::chrono::milliseconds> IdleSources::idleTime()
{
    Watched* const before = m_chosen;
    if (before) {
        if (const auto idle = ask(*before))
            return idle;
    }
    m_chosen = nullptr;
    for (Watched& watched : m_sources) {
        if (&watched == before)
            continue;
        if (const auto idle = ask(watched)) {
            m_chosen = &watched;
            return idle;
        }
    }
    return std::nullopt;
}

std::optional<IdleSources::Duration> IdleSources::ask(Watched& watched)
{
    const auto idle = watched.source.adapter->idleTime();
    if (!idle)
        return std::nullopt;
    Trust& trust = watched.source.trust;
    const TimeSource::Uptime now = m_time.uptime();
    Reading reading{*idle, {}, now};
    const auto last = std::exchange(watched.last, reading);
    bool nonsense = *idle < 0s || *idle > now.total + Slack;
    if (last && !nonsense) {
        const Duration passed = now.total - last->at.total;
        const Duration awake = now.awake - last->at.awake;
        const bool untouched = *idle >= last->idle + awake - Slack;
        // Otherwise there was input since.
        nonsense = *idle > (untouched ? last->idle : 0s) + passed + Slack;
        if (untouched && !nonsense) {
            const Duration missed = passed - (*idle - last->idle);
            reading.asleep = last->asleep + std::clamp<Duration>(missed, 0s, std::max<Duration>(passed - awake, 0s));
            if (awake > 2 * Slack)
                trust = Trust::Believed;
        }
    }
    if (nonsense)
        trust = Trust::Doubted;
    watched.last = reading;
    return trust == Trust::Believed ? std::optional(reading.idle + reading.asleep) : std::nullopt;
}

} // namespace platform
