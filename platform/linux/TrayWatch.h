#pragma once

#include <QAbstractNativeEventFilter>
#include <QObject>

#include <cstdint>
#include <functional>

namespace platform::x11 {

/// Watches the notification area of the program's screen come and go (freedesktop.org System Tray Protocol 0.4).
/// Nothing is polled. On other platforms there is never one. Main thread only.
class TrayWatch final : public QAbstractNativeEventFilter
{
public:
    /// `changed` is called from the event loop, when the area has gone or been replaced.
    explicit TrayWatch(std::function<void()> changed);

    /// The window that takes docking requests; 0: there is no notification area.
    std::uint32_t owner() const { return m_owner; }

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;

private:
    void look();

    std::function<void()> m_changed;
    std::uint32_t m_root = 0;
    std::uint32_t m_manager = 0;   ///< the atom of announcements
    std::uint32_t m_selection = 0; ///< the atom that the notification area owns
    std::uint32_t m_owner = 0;
    QObject m_context;
};

} // namespace platform::x11
