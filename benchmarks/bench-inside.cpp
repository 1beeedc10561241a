// bench-inside PORT
//
// Measures what can only be seen from within a process, with the service on that port of this machine.
#include "BareClient.h"
#include "Facade.h"
#include "Imports.h"

#include <QApplication>

#include <cstdio>
#include <exception>

#include <curl/curl.h>

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    if (argc < 2) {
        std::fputs("usage: bench-inside PORT\n", stderr);
        return 64;
    }
    curl_global_init(CURL_GLOBAL_DEFAULT);
    try {
        const std::string port = argv[1];
        const std::string sheet = bench::BareClient(port).send("/daily");
        bench::measureImports(QByteArray::fromStdString(sheet));
        bench::measureStalls(port);
        bench::measureTimerCommands(port);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bench-inside: %s\n", failure.what());
        return 1;
    }
    return 0;
}
