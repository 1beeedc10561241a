#include "LocalService.h"

#include "app/Application.h"

int main(int argc, char** argv)
{
    return app::Application({{}, [] { return std::make_unique<LocalService>(); }}).run(argc, argv);
}
