#pragma once

#include "platform/Alerts.h"

#include <deque>
#include <optional>
#include <utility>
#include <vector>

namespace support {

/// Keeps the alerts and answers them as scripted, one after another, each from the event loop.
class RecordingAlerts final : public platform::AlertPresenter
{
public:
    void show(const platform::Alert& alert, std::function<void(int)> done) override;

    /// Presses a button of the alert that is open. False when none is.
    bool press(int button);
    bool isOpen() const { return !m_queue.empty() && m_open; }

    /// All alerts that have come up so far.
    std::vector<platform::Alert> shown;
    /// The button that is pressed at once on every alert; nothing = the alert stays until `press`.
    std::optional<int> answer = 0;
    /// Called while an alert is open, before it is answered.
    std::function<void(const platform::Alert&)> whileOpen;

private:
    void openNext();

    std::deque<std::pair<platform::Alert, std::function<void(int)>>> m_queue;
    bool m_open = false;
};

} // namespace support
