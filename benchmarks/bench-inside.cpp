// bench-inside PORT [imports|stalls|commands]
//
// Measures what can only be seen from within a process, with the service on that port of this machine: all, or that.
#include "BareClient.h"
#include "Facade.h"
#include "Imports.h"

#include "platform/Memory.h"

#include <QApplication>

#include <cstdio>
#include <exception>
#include <string_view>

#include <curl/curl.h>

int main(int argc, char** argv)
{
    platform::setUpHeap();
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    if (argc < 2) {
        std::fputs("usage: bench-inside PORT [imports|stalls|commands]\n", stderr);
        return 64;
    }
    curl_global_init(CURL_GLOBAL_DEFAULT);
    try {
        const std::string port = argv[1];
        const std::string_view only = argc > 2 ? argv[2] : "";
        if (only.empty() || only == "imports")
            bench::measureImports(QByteArray::fromStdString(bench::BareClient(port).send("/daily")));
        if (only.empty() || only == "stalls")
            bench::measureStalls(port);
        if (only.empty() || only == "commands")
            bench::measureTimerCommands(port);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bench-inside: %s\n", failure.what());
        return 1;
    }
    return 0;
}
