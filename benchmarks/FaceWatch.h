#pragma once

#include <xcb/damage.h>
#include <xcb/xcb.h>

#include <map>
#include <optional>

namespace bench {

/// Watches the X server for a program's window: its first picture, and every repaint after it. Works from outside,
/// unnoticed by the program. One program at a time.
class FaceWatch
{
public:
    FaceWatch();
    ~FaceWatch();
    FaceWatch(const FaceWatch&) = delete;
    FaceWatch& operator=(const FaceWatch&) = delete;

    /// Forgets the windows that came before this call.
    void expectNewProgram();

    /// Where a window shows something when it is ready.
    enum class Part
    {
        Middle,
        Whole, ///< of one whose middle is a plain, empty list
    };

    /// Waits until that part of a new window, at least that many pixels wide, shows a picture of several colours; false
    /// when none does in time (seconds).
    bool awaitFace(double patience, int width, Part part = Part::Middle);

    /// Waits and counts the repaints meanwhile: changes of the window that are not of the same moment.
    int countRepaints(double seconds);

private:
    void watchWindow(xcb_window_t window, int width, int height);
    /// The next event within the time, else nothing.
    std::optional<int> nextEvent(double until);
    bool showsPicture(xcb_window_t window, int leastWidth, Part part) const;

    xcb_connection_t* m_connection;
    xcb_window_t m_root = XCB_WINDOW_NONE;
    uint8_t m_damageEvent = 0;
    std::map<xcb_window_t, xcb_damage_damage_t> m_windows;
    xcb_window_t m_face = XCB_WINDOW_NONE;
    xcb_window_t m_drawn = XCB_WINDOW_NONE; ///< the window of the last change
    xcb_timestamp_t m_drawnAt = 0;
};

} // namespace bench
