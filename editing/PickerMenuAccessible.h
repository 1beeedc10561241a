#pragma once

namespace editing {

/// From then on a `PickerMenu` has the interface of a menu, with its items as children, for assistive technology.
void installPickerMenuAccessible();

} // namespace editing
