#pragma once

#include <QLatin1StringView>
#include <QString>

#include <tl/expected.hpp>

namespace booking {

/// Why something was not done: the last part of a D-Bus error's name (docs/bus.md), and a text for people. What could
/// have been meant stands in the text's further lines.
struct Refusal
{
    QLatin1StringView error;
    QString reason;
};

template <class T>
using Expected = tl::expected<T, Refusal>;

} // namespace booking
