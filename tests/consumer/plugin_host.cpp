// Loads a shared object that brings the library along: plugin_host FILE
#include <cstdio>

#include <dlfcn.h>

int main(int, char* argv[])
{
    void* const pPlugin = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    void* const pRun = pPlugin != nullptr ? dlsym(pPlugin, "RunPlugin") : nullptr;
    if (pRun == nullptr)
    {
        std::fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    return reinterpret_cast<bool (*)()>(pRun)() ? 0 : 1;
}
