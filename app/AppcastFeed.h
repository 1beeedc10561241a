#pragma once

#include "app/Appcast.h"
#include "platform/TimeSource.h"
#include "platform/UpdateFeed.h"

#include <QSet>

#include <memory>
#include <thread>

class QProgressDialog;

namespace app {

class UpdateWindow;

/// Looks for newer versions in the feed at `SUFeedURL`, over HTTP, on a thread of its own. Without such an address it
/// asks nobody anything.
///
/// A newer version is announced in a window. What was found unasked is announced once per run, not at all when the
/// person has skipped that version, and never takes the focus; what went wrong unasked is kept quiet. Nothing is ever
/// downloaded: the window offers to open a page in the browser. Needs a `platform::Run`.
class AppcastFeed final : public platform::UpdateFeed
{
public:
    /// `patience`: how long one look may take.
    explicit AppcastFeed(std::chrono::milliseconds patience = std::chrono::seconds(20));
    ~AppcastFeed() override;

    bool isSetUp() const override;
    void setCheckIntervalSeconds(int seconds) override { m_interval = std::chrono::seconds(seconds); }
    /// On, until the person switches it off.
    bool automaticallyChecksForUpdates() const override;
    void setAutomaticallyChecksForUpdates(bool checks) override;
    void checkInBackground() override;
    void check() override;

private:
    using Outcome = tl::expected<std::optional<AppcastItem>, QString>;

    void lookUnasked();
    void look();
    void showProgress();
    void cancel();
    void found(const Outcome& outcome);
    void tellNewer(const AppcastItem& item, bool asked);

    const std::chrono::milliseconds m_patience;
    std::chrono::milliseconds m_interval{};
    std::unique_ptr<platform::TimeSource::Timer> m_timer; ///< while looking unasked is under way
    bool m_looking = false;
    /// While the person waits for an answer. Seen only when that takes a moment.
    std::unique_ptr<QProgressDialog> m_progress;
    QSet<QString> m_told; ///< versions, in this run
    std::unique_ptr<UpdateWindow> m_window;
    /// Gone when this is: what has been found by then comes too late.
    std::shared_ptr<char> m_presence = std::make_shared<char>();
    std::jthread m_thread; ///< last: joined before the rest goes
};

} // namespace app
