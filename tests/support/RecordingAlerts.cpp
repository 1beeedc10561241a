#include "RecordingAlerts.h"

#include "platform/Run.h"

#include <algorithm>
#include <utility>

namespace support {

platform::AlertId RecordingAlerts::show(const platform::Alert& alert, std::function<void(int)> done)
{
    const platform::AlertId id{++m_shown};
    m_queue.push_back({id, alert, std::move(done)});
    if (m_queue.size() == 1)
        openNext();
    return id;
}

void RecordingAlerts::update(platform::AlertId id, const platform::Alert& alert)
{
    for (Waiting& waiting : m_queue) {
        if (waiting.id == id)
            waiting.alert = alert;
    }
}

void RecordingAlerts::dismiss(platform::AlertId id)
{
    const auto found = std::find_if(m_queue.begin(), m_queue.end(), [id](const Waiting& w) { return w.id == id; });
    if (found == m_queue.end())
        return;
    found->done = {};
    if (isOpen() && found == m_queue.begin())
        answered(Dismissed);
    else
        m_queue.erase(found);
}

bool RecordingAlerts::press(int button)
{
    if (!isOpen())
        return false;
    answered(button);
    return true;
}

void RecordingAlerts::answered(int button)
{
    const auto done = std::move(m_queue.front().done);
    m_queue.pop_front();
    m_open = false;
    if (done)
        done(button);
    // What `done` showed may be up already.
    if (!m_open && !m_queue.empty())
        openNext();
}

void RecordingAlerts::openNext()
{
    m_open = true;
    shown.push_back(m_queue.front().alert);
    platform::Run::current().postToMain([this] {
        if (answer && isOpen())
            press(*answer);
    });
}

} // namespace support
