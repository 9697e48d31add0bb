#ifndef ZOR_TESTS_SUPPORT_FUNCTION_CHAIN_H
#define ZOR_TESTS_SUPPORT_FUNCTION_CHAIN_H

#include <string>

#include <gtest/gtest.h>

#include "diagnostics/function_state.h"

/// The calling thread's chain, innermost first: for each function its tag and, for each parameter,
/// the name and the type code, as in "FA::Op wszFileName:7;".
inline std::string FunctionChain()
{
    std::string strTags;
    const SFuncStateEntry* pInner = nullptr;
    for (const SFuncStateEntry* p = GetCurrentFuncStateEntry(); p != nullptr; p = p->m_pPrevious)
    {
        strTags += p->m_szTag;
        for (const SFuncStateParam* q = p->m_pFirstParam; q != nullptr; q = q->m_pNext)
        {
            strTags += std::string(" ") + q->m_szName + ":" + std::to_string(q->m_iType);
            EXPECT_TRUE(q->m_pNext != nullptr || q == p->m_pLastParam);
        }
        strTags += ";";
        EXPECT_EQ(p->m_pNext, pInner) << strTags;
        pInner = p;
    }
    return strTags;
}

#endif
