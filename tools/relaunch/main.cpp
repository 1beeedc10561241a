// relaunch_quillon PROGRAM PID [ARGUMENT…]: waits until the process has ended, however, then becomes the program.

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

int main(int argc, char** argv)
{
    char* rest = nullptr;
    const long pid = argc >= 3 ? std::strtol(argv[2], &rest, 10) : 0;
    if (pid <= 0 || *rest != '\0') {
        std::fprintf(stderr, "usage: relaunch_quillon PROGRAM PID [ARGUMENT]...\n");
        return 2;
    }
    // A descriptor of a process becomes readable when it ends (Linux 5.3). One that has ended already has none.
    const int process = static_cast<int>(syscall(SYS_pidfd_open, static_cast<pid_t>(pid), 0));
    if (process >= 0) {
        pollfd wait{process, POLLIN, 0};
        while (poll(&wait, 1, -1) < 0 && errno == EINTR) {
        }
        close(process);
    }
    argv[2] = argv[1];
    execv(argv[1], argv + 2);
    std::perror("relaunch_quillon");
    return 1;
}
