#pragma once

#include "ManualTimeSource.h"

#include "platform/SystemIdle.h"

namespace support {

/// A person at a machine whose time a test lets pass: idle since they were last told to touch something.
class ScriptedIdle final : public platform::SystemIdle
{
public:
    explicit ScriptedIdle(const ManualTimeSource& time) : m_time(time), m_lastInput(time.uptime().total) {}

    std::optional<std::chrono::milliseconds> idleTime() override
    {
        return measurable ? std::optional(m_time.uptime().total - m_lastInput) : std::nullopt;
    }

    void touch() { m_lastInput = m_time.uptime().total; }

    bool measurable = true;

private:
    const ManualTimeSource& m_time;
    ManualTimeSource::Duration m_lastInput;
};

} // namespace support
