#include "CoreDumps.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace localservice {

void keepOutOfCoreDumps()
{
    // 1 rather than 0: where the kernel pipes core dumps to a program it ignores the limit, except for this value,
    // which marks such programs themselves, and starts none. A file of one byte is not written either.
    rlimit limit{};
    if (getrlimit(RLIMIT_CORE, &limit) == 0) {
        limit.rlim_cur = std::min<rlim_t>(1, limit.rlim_max);
        setrlimit(RLIMIT_CORE, &limit);
    }
    // If one is made anyway, for instance at a debugger's request, it contains none of the memory.
    if (const int filter = open("/proc/self/coredump_filter", O_WRONLY | O_CLOEXEC); filter >= 0) {
        [[maybe_unused]] const auto written = write(filter, "0", 1);
        close(filter);
    }
}

} // namespace localservice
