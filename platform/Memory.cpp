#include "Memory.h"

#include <cstdlib>
#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace platform {

void setUpHeap()
{
#ifdef __GLIBC__
    // One heap for the main thread and one for all others, which seldom work at the same time.
    mallopt(M_ARENA_MAX, 2);
    // Freed pieces are joined at once, not all together at the next large one: 0.2 ms, often as a click waits for it.
    mallopt(M_MXFAST, 0);
#endif
}

void giveMemoryBack()
{
#ifdef __GLIBC__
    malloc_trim(0);
#endif
}

} // namespace platform
