#include "ServiceProgram.h"

int main(int argc, char** argv)
{
    localservice::ServiceProgram program({argv + 1, argv + argc});
    return program.run();
}
