// quillon-keyring: reads and writes passwords in the desktop's keyring for the program, which starts it when there is
// something to do. Its libraries take part of a start and of the memory; so the program does without them.
//
// Standard input is a socket with requests (Frames.h). When it is closed the process ends, whatever it is doing: nobody
// waits for that any more. A request that has begun is never cancelled in another way: the keyring daemon does not
// survive that while it prompts.

#include "Keyring.h"

#include <condition_variable>
#include <cstdio>
#include <deque>
#include <mutex>
#include <thread>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using platform::keyring::Answer;
using platform::keyring::Head;
using platform::keyring::LargestPart;
using platform::keyring::Request;
using platform::keyring::Wish;

/// The socket, out of reach of what the libraries may start. Negative: there is none.
int takeSocket()
{
    int type = 0;
    socklen_t size = sizeof type;
    if (getsockopt(STDIN_FILENO, SOL_SOCKET, SO_TYPE, &type, &size) != 0 || type != SOCK_STREAM)
        return -1;
    const int line = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO})
        dup2(nowhere, standard);
    return line;
}

void readOrLeave(int line, void* place, std::size_t size)
{
    if (size > 0 && recv(line, place, size, MSG_WAITALL) != static_cast<ssize_t>(size))
        _exit(0);
}

void writeOrLeave(int line, const void* bytes, std::size_t size)
{
    for (const char* next = static_cast<const char*>(bytes); size > 0;) {
        const ssize_t sent = send(line, next, size, MSG_NOSIGNAL);
        if (sent < 0)
            _exit(0);
        next += sent;
        size -= static_cast<std::size_t>(sent);
    }
}

Request readRequest(int line)
{
    Head head;
    readOrLeave(line, &head, sizeof head);
    Request request{static_cast<Wish>(head.what), {}, {}, {}};
    std::string* const parts[] = {&request.service, &request.account, &request.secret};
    for (std::size_t i = 0; i < std::size(parts); ++i) {
        if (head.sizes[i] > LargestPart)
            _exit(1);
        parts[i]->resize(head.sizes[i]);
        readOrLeave(line, parts[i]->data(), parts[i]->size());
    }
    return request;
}

void writeAnswer(int line, const Answer& answer)
{
    const Head head{static_cast<std::uint32_t>(answer.outcome),
                    {static_cast<std::uint32_t>(answer.found.size()), 0, 0}};
    writeOrLeave(line, &head, sizeof head);
    writeOrLeave(line, answer.found.data(), answer.found.size());
}

} // namespace

int main()
{
    const int line = takeSocket();
    if (line < 0) {
        std::fputs("quillon-keyring is part of Quillon, which starts it\n", stderr);
        return 2;
    }
    std::mutex mutex;
    std::condition_variable came;
    std::deque<Request> requests;
    // Beside what is being performed, so that the end is noticed. Ends with the process.
    std::thread([&] {
        for (;;) {
            Request request = readRequest(line);
            const std::lock_guard lock(mutex);
            requests.push_back(std::move(request));
            came.notify_one();
        }
    }).detach();
    for (;;) {
        std::unique_lock lock(mutex);
        came.wait(lock, [&] { return !requests.empty(); });
        const Request request = std::move(requests.front());
        requests.pop_front();
        lock.unlock();
        writeAnswer(line, perform(request));
    }
}
