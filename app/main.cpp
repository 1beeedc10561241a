#include "LoopbackService.h"

#include "app/Application.h"
#include "localservice/CoreDumps.h"

#include <malloc.h>

int main(int argc, char** argv)
{
    localservice::keepOutOfCoreDumps();
    // One heap for the main thread and one for all others, which seldom work at the same time. Before any thread.
    mallopt(M_ARENA_MAX, 2);
    return app::Application([] { return std::make_unique<LoopbackService>(); }).run(argc, argv);
}
