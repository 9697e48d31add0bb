#include "self_test.h"

extern "C" bool RunPlugin();

bool RunPlugin()
{
    return TestLibrary();
}
