#pragma once

namespace localservice {

/// From now on this process leaves no core dump with anything of its memory in it (core(5)): passwords and keys are
/// there. Whoever may trace the process still can, and programs that it starts inherit this, but can undo it.
void keepOutOfCoreDumps();

} // namespace localservice
