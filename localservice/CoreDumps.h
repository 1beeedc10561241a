#pragma once

namespace localservice {

/// From now on no core dump contains this process's memory (core(5)), which holds passwords and keys. A process that
/// may trace this one still can; child processes inherit this, but can undo it.
void keepOutOfCoreDumps();

} // namespace localservice
