#pragma once

#include <QCoreApplication>

namespace app {

/// A visible string, for code outside QObjects. Works without an application object, too.
inline QString tr(const char* text)
{
    return QCoreApplication::translate("app", text);
}

} // namespace app
