#include "CoreDumps.h"
#include "ServiceProgram.h"

int main(int argc, char** argv)
{
    localservice::keepOutOfCoreDumps();
    localservice::ServiceProgram program({argv + 1, argv + argc});
    return program.run();
}
