#pragma once

class QWidget;

namespace skin {

/// Closes the menus and other popups opened in `window`, which is about to go: they would stay behind.
void closePopupsOf(const QWidget& window);

} // namespace skin
