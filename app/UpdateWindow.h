#pragma once

#include "app/Appcast.h"

#include <QDialog>

#include <functional>

namespace app {

/// Tells of a newer version: its name, what is new, and where its page is. Nothing in it is loaded from anywhere, and
/// nothing of it is read as a format. Escape is "Remind Me Later".
class UpdateWindow final : public QDialog
{
    Q_OBJECT
public:
    UpdateWindow(const AppcastItem& item, const QString& thisVersion);

    /// Shows the window. Unless it was `asked` for, the focus stays where the person is typing.
    void present(bool asked);

    std::function<void()> onGetIt; ///< the person wants to see the page
    std::function<void()> onSkip;  ///< the person wants to hear no more of this version
};

} // namespace app
