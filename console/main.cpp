#include "console/session.h"

int main()
{
    return RunSession();
}
