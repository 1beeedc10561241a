#pragma once

namespace platform {

/// Combinations of keys that reach the program while another one is in front. Main thread only.
class HotKeys
{
public:
    virtual ~HotKeys() = default;
};

} // namespace platform
