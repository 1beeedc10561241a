#include "LoopbackService.h"

#include "app/Application.h"
#include "localservice/CoreDumps.h"

int main(int argc, char** argv)
{
    localservice::keepOutOfCoreDumps();
    return app::Application([] { return std::make_unique<LoopbackService>(); }).run(argc, argv);
}
