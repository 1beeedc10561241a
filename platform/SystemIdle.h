#pragma once

namespace platform {

/// How long nobody has touched the machine. Main thread only.
class SystemIdle
{
public:
    virtual ~SystemIdle() = default;
};

} // namespace platform
