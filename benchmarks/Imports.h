#pragma once

#include <QByteArray>

namespace bench {

/// Imports of the sheet into an empty store and once more unchanged, each beside the floor.
void measureImports(const QByteArray& sheet);

} // namespace bench
