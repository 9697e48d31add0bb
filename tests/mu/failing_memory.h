#ifndef ZOR_TESTS_MU_FAILING_MEMORY_H
#define ZOR_TESTS_MU_FAILING_MEMORY_H

/// While one lives, this thread gets no memory: malloc and realloc of the library and the test
/// return null, new throws.
class CFailingMemory
{
public:
    CFailingMemory();
    ~CFailingMemory();

    CFailingMemory(const CFailingMemory&) = delete;
    CFailingMemory& operator=(const CFailingMemory&) = delete;
};

#endif
