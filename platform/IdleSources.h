#pragma once

#include "SystemIdle.h"
#include "TimeSource.h"

#include <memory>
#include <optional>
#include <vector>

namespace platform {

/// The first of several ways to measure idle time that answers sensibly; replaced as soon as it does not.
///
/// An answer is nonsense when it is negative, longer than the machine has been up, or contradicts the previous one:
/// idle time passes as fast as time does, or starts over. A source that gave one is ignored until its idle time has
/// been seen to pass. Most sources stand still while the machine sleeps; what they miss is added until the next input.
class IdleSources final : public SystemIdle
{
public:
    enum class Trust
    {
        Believed,
        Doubted, ///< only once its idle time has been seen to pass
    };
    struct Source
    {
        std::unique_ptr<SystemIdle> adapter;
        Trust trust = Trust::Believed;
        QString name = {}; ///< for people
    };

    /// The best source first.
    IdleSources(const TimeSource& time, std::vector<Source> sources);

    std::optional<std::chrono::milliseconds> idleTime() override;
    QString source() const override { return m_chosen ? m_chosen->source.name : QString(); }

private:
    using Duration = TimeSource::Duration;

    struct Reading
    {
        Duration idle;     ///< as reported by the source
        Duration asleep{}; ///< of the machine since the last input, as far as the source does not count it
        TimeSource::Uptime at;
    };
    struct Watched
    {
        Source source;
        std::optional<Reading> last;
    };

    std::optional<Duration> ask(Watched& watched);

    const TimeSource& m_time;
    std::vector<Watched> m_sources;
    Watched* m_chosen = nullptr;
};

} // namespace platform
