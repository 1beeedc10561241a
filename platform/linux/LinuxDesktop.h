#pragma once

#include "../Desktop.h"

#include <QObject>

#include <memory>

namespace platform {

/// The freedesktop way.
class LinuxDesktop final : public Desktop
{
public:
    static bool available();

    bool open(const QUrl& url) override;

    /// A task bar lists windows here, not programs: not shown, each window of the program asks to be left out when it
    /// opens. The status item stays out either way. Without effect on Wayland, which has no such request.
    void setShownInTaskBar(bool shown) override;

    void activate(QWidget& window) override;

private:
    std::unique_ptr<QObject> m_leftOut; ///< watches for windows that open
};

} // namespace platform
