#include "RecordingAlerts.h"

#include "platform/Run.h"

namespace support {

void RecordingAlerts::show(const platform::Alert& alert, std::function<void(int)> done)
{
    m_queue.emplace_back(alert, std::move(done));
    if (m_queue.size() == 1)
        openNext();
}

bool RecordingAlerts::press(int button)
{
    if (!isOpen())
        return false;
    const auto done = std::move(m_queue.front().second);
    m_queue.pop_front();
    m_open = false;
    if (done)
        done(button);
    // What `done` showed may be up already.
    if (!m_open && !m_queue.empty())
        openNext();
    return true;
}

void RecordingAlerts::openNext()
{
    m_open = true;
    shown.push_back(m_queue.front().first);
    platform::Run::current().postToMain([this] {
        if (whileOpen && isOpen())
            whileOpen(m_queue.front().first);
        if (answer && isOpen())
            press(*answer);
    });
}

} // namespace support
