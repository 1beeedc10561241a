#pragma once

namespace platform {

/// Makes the whole program as much larger as the desktop makes text: the given sizes are those at a factor of 1. Lives
/// while the `QApplication` is made, which reads it then and never again, so another factor counts from the next start.
///
/// Qt does so by itself where the desktop tells it: on X11 (`Xft.dpi`, GNOME's factor and Plasma's fonts), and where
/// `QT_FONT_DPI` or, on Wayland, Plasma's `QT_WAYLAND_FORCE_DPI` is set. What is left is GNOME's factor on Wayland
/// (`text-scaling-factor` of `org.gnome.desktop.interface`).
class TextScaling
{
public:
    TextScaling();
    /// The programs that this one starts scale by themselves.
    ~TextScaling();
    TextScaling(const TextScaling&) = delete;
    TextScaling& operator=(const TextScaling&) = delete;

private:
    bool m_handed = false; ///< the factor, to Qt
};

} // namespace platform
