#pragma once

#include "booking/Refusal.h"

#include <QStringList>

#include <vector>

namespace booking {

/// Something that a person can name.
struct Named
{
    QStringList names; ///< what counts as its name or code, the best one first
    QString shown;     ///< what to call it when a choice is offered
};

/// The position of the one that `typed` means. An exact name wins, then the beginning of a name, then any part of one;
/// case does not count, nor does white space around the text. Refused when several match, with a list of them
/// ("Ambiguous"), and when none does, with the nearest names ("NotFound"). `what` says what is looked for: "project".
Expected<std::size_t> find(const std::vector<Named>& among, const QString& typed, const QString& what);

} // namespace booking
