#pragma once

#include <functional>

class QObject;
class QWidget;

namespace skin {

/// The looks. The clear ones are those of high contrast.
enum class Scheme
{
    Light,
    Dark,
    ClearLight,
    ClearDark
};

/// What the person has chosen for everything that the program draws itself.
struct Appearance
{
    Scheme scheme = Scheme::Light;
    bool still = false; ///< nothing slides, pulsates or blinks

    bool operator==(const Appearance&) const = default;
};

/// The present one: light until it is set. One for the process, as fonts and palettes are. Main thread only.
const Appearance& appearance();

/// Changes it, dresses and repaints whatever exists.
void setAppearance(const Appearance& appearance);

/// Calls `dress` now and after every change of the appearance, as long as `owner` exists. For colours that are not
/// looked up while painting.
void dressed(QObject& owner, std::function<void()> dress);

/// How long something in that widget moves, in milliseconds: 0 where nothing should.
int movingTime(const QWidget& widget, int milliseconds);

} // namespace skin
