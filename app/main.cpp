#include "LocalService.h"

#include "app/Application.h"
#include "app/ProgramWindows.h"
#include "localservice/CoreDumps.h"

int main(int argc, char** argv)
{
    localservice::keepOutOfCoreDumps();
    return app::Application({app::programWindows(), [] { return std::make_unique<LocalService>(); }}).run(argc, argv);
}
