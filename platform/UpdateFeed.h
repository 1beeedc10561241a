#pragma once

namespace platform {

/// Looks for newer versions of the program. Main thread only.
class UpdateFeed
{
public:
    virtual ~UpdateFeed() = default;

    /// How long it is from one look in the background to the next.
    virtual void setCheckIntervalSeconds(int seconds) = 0;

    /// Whether it looks by itself. Kept from start to start.
    virtual bool automaticallyChecksForUpdates() const = 0;
    virtual void setAutomaticallyChecksForUpdates(bool checks) = 0;

    /// Looks now, and again after each interval, as long as that is switched on. Speaks only of a newer version.
    virtual void checkInBackground() = 0;

    /// Looks because the person asked, and says what came of it.
    virtual void check() = 0;
};

} // namespace platform
