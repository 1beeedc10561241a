// bench-service FILE [running|ordinary|years]
//
// The timesheet service with the large day, an ordinary one or the time of many years, made on first use. Prints its
// port and serves until stopped.
#include "LargeDay.h"
#include "ManyYears.h"

#include <localservice/Service.h>

#include <filesystem>
#include <iostream>
#include <string_view>

#include <csignal>
#include <sys/resource.h>

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::cerr << "usage: bench-service FILE [running|ordinary|years]\n";
        return 64;
    }
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    rlimit descriptors{};
    ::getrlimit(RLIMIT_NOFILE, &descriptors);
    descriptors.rlim_cur = descriptors.rlim_max; // each client takes one
    ::setrlimit(RLIMIT_NOFILE, &descriptors);
    const bool isNew = !std::filesystem::exists(argv[1]);
    localservice::Service service({.dataFile = argv[1]});
    const auto database = service.database();
    const std::string_view content = argc > 2 ? argv[2] : "";
    if (!database ||
        (isNew &&
         !(content == "years" ? bench::fillWithManyYears(**database)
                              : bench::fillWithDay(**database, content == "ordinary" ? bench::Ordinary : bench::Large,
                                                   content == "running"))))
        return 1;
    const auto port = service.start();
    if (!port) {
        std::cerr << port.error() << '\n';
        return 1;
    }
    std::cout << *port << std::endl;
    int signal = 0;
    sigwait(&signals, &signal);
    service.stop();
    return 0;
}
