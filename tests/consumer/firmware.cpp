// Tests the library that it is linked with, or that a shared object brings along: firmware [FILE]
#include <cstdio>

#include <dlfcn.h>

extern "C" [[gnu::weak]] bool TestLibrary();

int main(int argc, char* argv[])
{
    void* const pObject = argc > 1 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : nullptr;
    void* const pTest = pObject != nullptr ? dlsym(pObject, "TestLibrary") : nullptr;
    if (argc > 1 && pTest == nullptr)
        std::fprintf(stderr, "%s\n", dlerror());
    const auto test = argc > 1 ? reinterpret_cast<bool (*)()>(pTest) : TestLibrary;
    return test != nullptr && test() ? 0 : 1;
}
