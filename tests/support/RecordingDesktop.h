#pragma once

#include "platform/Desktop.h"
#include "platform/UpdateFeed.h"

#include <QList>
#include <QWidget>

#include <optional>

namespace support {

/// Keeps what the program asked of the desktop.
class RecordingDesktop final : public platform::Desktop
{
public:
    bool open(const QUrl& url) override
    {
        opened << url;
        return opens;
    }
    void setShownInTaskBar(bool shown) override { shownInTaskBar = shown; }
    bool canLeaveTaskBar() const override { return hasTaskBarRequests; }
    void activate(QWidget& window) override
    {
        activated << &window;
        bringForward(window);
    }
    void bringForward(QWidget& window) override
    {
        window.show();
        window.raise();
        window.activateWindow();
    }

    QList<QUrl> opened;
    std::optional<bool> shownInTaskBar;
    QList<QWidget*> activated;
    /// What `openUrl` answers.
    bool opens = true;
    bool hasTaskBarRequests = true;
};

/// Keeps what the program asked of the update feed.
class RecordingUpdateFeed final : public platform::UpdateFeed
{
public:
    bool isSetUp() const override { return setUp; }
    void setCheckIntervalSeconds(int seconds) override { interval = seconds; }
    bool automaticallyChecksForUpdates() const override { return automatic; }
    void setAutomaticallyChecksForUpdates(bool checks) override { automatic = checks; }
    void checkInBackground() override { ++backgroundChecks; }
    void check() override { ++checks; }

    bool setUp = true;
    int interval = 0;
    bool automatic = true;
    int backgroundChecks = 0;
    int checks = 0;
};

} // namespace support
