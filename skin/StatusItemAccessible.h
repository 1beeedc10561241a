#pragma once

namespace skin {

/// Makes the status view known to assistive technology as a button with the actions "press" (opens the menu) and
/// "toggle" (starts or stops the timer), and its menu as its child. Call once before the first view.
void installStatusItemAccessible();

} // namespace skin
