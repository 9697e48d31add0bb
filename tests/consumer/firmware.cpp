#include <cstdio>

#include "self_test.h"

int main()
{
    if (!TestLibrary())
        return 1;
    std::puts("firmware: the library works");
    return 0;
}
