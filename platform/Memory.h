#pragma once

namespace platform {

/// Returns to the system what was allocated for a burst of work and is free again, which the C library would keep for
/// the next. Takes about a millisecond; from any thread.
void giveMemoryBack();

/// How the program shares out its heap. Before any thread is started.
void setUpHeap();

} // namespace platform
