#pragma once

namespace platform {

/// The programs that the desktop starts when the person logs in. Main thread only.
class LoginItems
{
public:
    virtual ~LoginItems() = default;
};

} // namespace platform
