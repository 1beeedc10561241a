#pragma once

#include "Programs.h"

namespace bench {

/// The time trackers that Debian packages beside ours, those that are installed: start, memory, wake-ups.
void measurePeers(const Builds& builds);

} // namespace bench
