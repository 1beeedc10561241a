#pragma once

namespace platform {

/// Looks for newer versions of the program. Main thread only.
class UpdateFeed
{
public:
    virtual ~UpdateFeed() = default;

    /// Whether there is a feed to look in. Without one newer versions come from the package manager.
    virtual bool isSetUp() const = 0;

    /// The time between two background checks.
    virtual void setCheckIntervalSeconds(int seconds) = 0;

    /// Whether it checks by itself. Remembered between runs.
    virtual bool automaticallyChecksForUpdates() const = 0;
    virtual void setAutomaticallyChecksForUpdates(bool checks) = 0;

    /// Checks now, and again after each interval, while that is switched on. Reports only a newer version.
    virtual void checkInBackground() = 0;

    /// Checks because the person asked, and reports the result.
    virtual void check() = 0;
};

} // namespace platform
