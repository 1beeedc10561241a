#pragma once

#include <QDBusServiceWatcher>
#include <QLatin1StringView>
#include <QObject>

#include <functional>
#include <optional>

namespace platform {

/// The bus service that shows items drawn by the desktop (freedesktop.org StatusNotifierItem); also its interface.
inline constexpr QLatin1StringView StatusNotifierWatcher("org.kde.StatusNotifierWatcher");
inline constexpr QLatin1StringView StatusNotifierWatcherPath("/StatusNotifierWatcher");

/// Whether the desktop has a place for such items: a watcher on the session bus with a host behind it. Nothing is asked
/// before `begin`, and nothing blocks. Main thread only.
class NotifierHost final : public QObject
{
    Q_OBJECT
public:
    /// `changed` is called when the value of `isThere` changes.
    explicit NotifierHost(std::function<void()> changed) : m_changed(std::move(changed)) {}

    void begin();
    bool isThere() const { return m_isThere; }
    /// Whether it draws the label beside the tile, as GNOME's extension does. Hosts do not say so themselves.
    bool showsLabel() const { return m_showsLabel; }
    /// Waits for the answer, half a second at most.
    static bool isThereNow();

private slots:
    void ask();

private:
    void setThere(bool there);

    const std::function<void()> m_changed;
    std::optional<QDBusServiceWatcher> m_service;
    int m_question = 0; ///< only the answer to the last one counts
    bool m_isThere = false;
    bool m_showsLabel = false;
};

} // namespace platform
