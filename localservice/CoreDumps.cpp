#include "CoreDumps.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace localservice {

void keepOutOfCoreDumps()
{
    // 1 rather than 0: where the kernel hands core dumps to a program it does not look at the limit, but for this one
    // value, which it knows those programs by, and then starts none. A file of one byte is not begun either.
    rlimit limit{};
    if (getrlimit(RLIMIT_CORE, &limit) == 0) {
        limit.rlim_cur = std::min<rlim_t>(1, limit.rlim_max);
        setrlimit(RLIMIT_CORE, &limit);
    }
    // Whatever is made all the same, after a debugger's wish for instance, has none of the memory in it.
    if (const int filter = open("/proc/self/coredump_filter", O_WRONLY | O_CLOEXEC); filter >= 0) {
        [[maybe_unused]] const auto written = write(filter, "0", 1);
        close(filter);
    }
}

} // namespace localservice
