#pragma once

#include <QString>

namespace app {

/// The text for a terminal: a character that is not printable becomes its number, such as \u{1b}. So a name that
/// somebody else has chosen can neither steer the terminal nor begin a line of its own.
QString printable(const QString& text);

/// Says on standard error, in one line, what is wrong.
void complain(const QString& what);

/// Qt ends the process with a core dump where no display can be opened. While one of these lives, `failed` is called
/// instead, and must not return; likewise when the display keeps silent for half a minute. What Qt has to say meanwhile
/// is said in the end. One at a time, in the main thread.
class DisplayGuard
{
public:
    explicit DisplayGuard(void (*failed)());
    ~DisplayGuard();
    DisplayGuard(const DisplayGuard&) = delete;
    DisplayGuard& operator=(const DisplayGuard&) = delete;
};

/// What to say about it.
QString noDisplay();

/// Whether the environment names a display, which need not be there.
bool hasDisplay();

} // namespace app
