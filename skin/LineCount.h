#pragma once

#include <QFont>
#include <QString>

#include <optional>

namespace skin {

/// How many lines the text takes at `width`, as `TextLines` would break it; absent where only laying it out can tell.
/// For notes as people write them it costs a hundredth of that. Main thread.
std::optional<int> knownLineCount(const QString& text, double width, const QFont& font);

} // namespace skin
