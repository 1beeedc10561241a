#pragma once

#include <QTimeZone>

namespace store {

/// UTC, for the functions of QDateTime: from Qt 6.5 on they take a zone, and no longer a Qt::TimeSpec.
#if QT_VERSION >= QT_VERSION_CHECK(6, 5, 0)
inline constexpr QTimeZone::Initialization Utc = QTimeZone::UTC;
#else
inline constexpr Qt::TimeSpec Utc = Qt::UTC;
#endif

} // namespace store
