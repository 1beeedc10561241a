#pragma once

#include <csignal>
#include <sys/resource.h>
#include <unistd.h>

namespace support {

/// What this process may have no more of while it lives: bytes in a file (RLIMIT_FSIZE), as on a full disk, or files
/// that are open.
class Limit
{
public:
    explicit Limit(__rlimit_resource_t resource, rlim_t most = 0) : m_resource(resource)
    {
        std::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(m_resource, &m_before);
        const rlimit limited{most, m_before.rlim_max};
        ::setrlimit(m_resource, &limited);
    }
    ~Limit() { ::setrlimit(m_resource, &m_before); }
    Limit(const Limit&) = delete;
    Limit& operator=(const Limit&) = delete;

    static Limit noMoreFiles()
    {
        const int lowest = ::dup(0);
        ::close(lowest);
        return Limit(RLIMIT_NOFILE, static_cast<rlim_t>(lowest));
    }

private:
    const __rlimit_resource_t m_resource;
    rlimit m_before{};
};

} // namespace support
