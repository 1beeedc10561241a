#pragma once

#include <functional>
#include <memory>
#include <optional>

namespace platform {

/// What the desktop's settings ask of the looks of all programs. Absent: it says nothing about that.
struct DesktopWishes
{
    std::optional<bool> dark;
    std::optional<bool> highContrast;
    std::optional<bool> reducedMotion;

    bool operator==(const DesktopWishes&) const = default;
};

/// Watches them. Main thread only.
class WishWatch
{
public:
    virtual ~WishWatch() = default;
};

/// Calls `changed` whenever they are known or different, on the main thread and never before this returns, until the
/// watch is destroyed. Null where the desktop keeps no such settings; one that comes later is found all the same.
[[nodiscard]] std::unique_ptr<WishWatch> watchDesktopWishes(std::function<void(const DesktopWishes&)> changed);

} // namespace platform
