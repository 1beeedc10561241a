#pragma once

namespace timesheet {

/// Makes lists and their cells known to assistive technology: a list whose children are the rows in sight, and rows
/// that can be pressed like with the mouse. May be called any number of times.
void installRLListAccessible();

} // namespace timesheet
