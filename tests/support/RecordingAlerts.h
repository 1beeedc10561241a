#pragma once

#include "platform/Alerts.h"

#include <deque>
#include <optional>
#include <vector>

namespace support {

/// Keeps the alerts and answers them as scripted, one after another, each from the event loop.
class RecordingAlerts final : public platform::AlertPresenter
{
public:
    platform::AlertId show(const platform::Alert& alert, std::function<void(int)> done) override;
    void update(platform::AlertId id, const platform::Alert& alert) override;
    void dismiss(platform::AlertId id) override;

    /// Presses a button of the alert that is open, or treats it as `Dismissed` or `Opened` say. False when none is.
    bool press(int button);
    bool isOpen() const { return !m_queue.empty() && m_open; }
    /// What the alert that is open says by now.
    std::optional<platform::Alert> open() const
    {
        return isOpen() ? std::optional(m_queue.front().alert) : std::nullopt;
    }

    /// All alerts that have come up so far, as they came up.
    std::vector<platform::Alert> shown;
    /// The button that is pressed at once on every alert; nothing = the alert stays until `press`.
    std::optional<int> answer = 0;

private:
    struct Waiting
    {
        platform::AlertId id;
        platform::Alert alert;
        std::function<void(int)> done;
    };

    void openNext();
    void answered(int button);

    std::deque<Waiting> m_queue;
    quint64 m_shown = 0;
    bool m_open = false;
};

} // namespace support
