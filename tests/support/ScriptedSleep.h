#pragma once

#include "ManualTimeSource.h"

#include "platform/SleepMonitor.h"

#include <utility>

namespace support {

/// A machine that sleeps when told.
class ScriptedSleep final : public platform::SleepMonitor
{
public:
    explicit ScriptedSleep(ManualTimeSource& time) : m_time(time) {}

    std::unique_ptr<Watch> watch(std::function<void()> goingToSleep, std::function<void()> woke) override
    {
        m_goingToSleep = std::move(goingToSleep);
        m_woke = std::move(woke);
        return std::make_unique<Held>(*this);
    }

    /// Lid closed, and opened again after a while. `meanwhile` happens during the sleep.
    void sleep(ManualTimeSource::Duration duration, const std::function<void()>& meanwhile = {})
    {
        if (m_goingToSleep)
            m_goingToSleep();
        m_time.suspend(duration);
        if (meanwhile)
            meanwhile();
        if (m_woke)
            m_woke();
    }

private:
    struct Held final : Watch
    {
        explicit Held(ScriptedSleep& monitor) : monitor(monitor) {}
        ~Held() override { monitor.m_goingToSleep = monitor.m_woke = {}; }
        ScriptedSleep& monitor;
    };

    ManualTimeSource& m_time;
    std::function<void()> m_goingToSleep;
    std::function<void()> m_woke;
};

} // namespace support
