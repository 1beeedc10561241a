#pragma once

#include "../Desktop.h"

namespace platform {

/// The freedesktop way.
class LinuxDesktop final : public Desktop
{
public:
    static bool available();

    bool openUrl(const QUrl& url) override;

    /// Without effect: a task bar lists windows here, not programs, and a window that is missing from it could not be
    /// found again. The status item stays out of it either way.
    void setShownInTaskBar(bool shown) override;

    /// Raises the program's open windows; the modal one, if any, last.
    void activate() override;
};

} // namespace platform
