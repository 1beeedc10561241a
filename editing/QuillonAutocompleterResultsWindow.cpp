#include "editing/QuillonAutocompleterResultsWindow.h"

namespace editing {

// A tool tip is the one kind of window that every desktop places where it is told and gives no focus to.
QuillonAutocompleterResultsWindow::QuillonAutocompleterResultsWindow(QWidget& above)
    : QWidget(&above, Qt::ToolTip | Qt::FramelessWindowHint)
{
    setAttribute(Qt::WA_ShowWithoutActivating);
    setFocusPolicy(Qt::NoFocus);
}

} // namespace editing
