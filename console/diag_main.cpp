#include "console/diag_program.h"

int main(int argc, char* argv[])
{
    return RunDiag(argc, argv);
}
