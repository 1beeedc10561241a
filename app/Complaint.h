#pragma once

#include <QString>

namespace app {

/// Makes a string safe for a terminal: an unprintable character becomes its number, such as \u{1b}. So a name chosen by
/// others can neither control the terminal nor start a new line.
QString printable(const QString& text);

/// Prints a one-line error on standard error.
void complain(const QString& what);

/// Qt ends the process with a core dump where no display can be opened. While one of these lives, `failed` is called
/// instead, and must not return; likewise when the display is silent for half a minute. Qt's own messages are held back
/// and printed at the end. One at a time, in the main thread.
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

/// Whether the environment names a display, which need not exist.
bool hasDisplay();

} // namespace app
