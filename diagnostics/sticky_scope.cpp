#include "diagnostics/sticky_scope.h"

#include "logging/logger.h"

CStickyScope::CStickyScope(ISticky* pSticky) : m_pSticky(pSticky)
{
    if (m_pSticky != nullptr)
    {
        m_pSticky->AddRef();
    }
}

CStickyScope::~CStickyScope()
{
    if (m_pSticky != nullptr)
    {
        m_pSticky->Release();
    }
}
