#include "LocalService.h"

#include "app/Application.h"
#include "app/ProgramWindows.h"

int main(int argc, char** argv)
{
    return app::Application({app::programWindows(), [] { return std::make_unique<LocalService>(); }}).run(argc, argv);
}
