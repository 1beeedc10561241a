#pragma once

#include <QString>

namespace skin {

/// "1:05" as a screen reader says it: "1 hour 5 minutes". Other strings unchanged.
QString spokenHours(const QString& text);

} // namespace skin
