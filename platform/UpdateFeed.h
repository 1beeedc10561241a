#pragma once

namespace platform {

/// Looks for newer versions of the program. Main thread only.
class UpdateFeed
{
public:
    virtual ~UpdateFeed() = default;
    virtual void setCheckIntervalSeconds(int seconds) = 0;
    virtual void checkInBackground() = 0;
    virtual void check() = 0;
};

} // namespace platform
