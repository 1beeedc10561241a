#pragma once

#include "platform/DesktopWishes.h"

#include <QObject>
#include <QPalette>

#include <memory>

namespace skin {

/// Keeps the program's appearance as the desktop's settings ask, or where they say nothing, as its palette looks: from
/// now on, as long as it exists. Ordinary windows follow too: where the desktop's palette contradicts its settings, the
/// program's own takes its place.
class DesktopAppearance final : public QObject
{
    Q_OBJECT
public:
    DesktopAppearance();
    ~DesktopAppearance() override;

    void follow(const platform::DesktopWishes& wishes);

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void update();

    const QPalette m_toolTips; ///< the desktop's
    platform::DesktopWishes m_wishes;
    bool m_hasOwnPalette = false;
    bool m_isUpdating = false;
    std::unique_ptr<platform::WishWatch> m_watch;
};

} // namespace skin
