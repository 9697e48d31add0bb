#include "mu/memory_block.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <functional>

CMemBlockPtr::CMemBlockPtr(StaticBlock, void* pBuffer, unsigned int uSize)
{
    AssignStaticBlock(pBuffer, uSize);
}

CMemBlockPtr::CMemBlockPtr(unsigned int uSize)
{
    Create(uSize);
}

CMemBlockPtr::CMemBlockPtr(const void* pData, unsigned int uSize)
{
    AssignData(pData, uSize);
}

CMemBlockPtr::CMemBlockPtr(const CMemBlockPtr& other)
    : IRandomPositionWriter(other), IFileRW(other), m_uPosition(other.m_uPosition)
{
    if (other.m_bStatic)
    {
        m_pData = other.m_pData;
        m_uSize = other.m_uSize;
        m_bStatic = true;
    }
    else if (!AssignData(other.m_pData, other.m_uSize))
    {
        m_uPosition = 0;
    }
}

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): both branches work for the block itself
CMemBlockPtr& CMemBlockPtr::operator=(const CMemBlockPtr& other)
{
    if (other.m_bStatic)
    {
        AssignStaticBlock(other.m_pData, other.m_uSize);
    }
    else
    {
        AssignData(other.m_pData, other.m_uSize);
    }
    return *this;
}

CMemBlockPtr::~CMemBlockPtr()
{
    Destroy();
}

bool CMemBlockPtr::WriteBlock(unsigned long long llPosition, unsigned int uSize, const void* pData)
{
    if (uSize > m_uSize || llPosition > m_uSize - uSize)
    {
        return false;
    }
    if (uSize > 0)
    {
        std::memmove(m_pData + llPosition, pData, uSize);
    }
    return true;
}

int CMemBlockPtr::Read(void* pBuffer, int iCount)
{
    const long long llCount = std::min<long long>(iCount, GetRoom());
    if (llCount > 0)
    {
        std::memmove(pBuffer, m_pData + m_uPosition, static_cast<std::size_t>(llCount));
    }
    return static_cast<int>(std::max<long long>(llCount, INT_MIN));
}

bool CMemBlockPtr::SetPosition(unsigned long long llPosition)
{
    if (llPosition > m_uSize)
    {
        return false;
    }
    m_uPosition = static_cast<unsigned int>(llPosition);
    return true;
}

int CMemBlockPtr::Write(const void* pData, int iCount)
{
    if (iCount < 0)
    {
        return 0;
    }

    if (iCount > GetRoom() && !m_bStatic)
    {
        const auto uCount = static_cast<unsigned int>(iCount);
        const auto* pSource = static_cast<const char*>(pData);
        const std::ptrdiff_t iOwnOffset = Owns(pData) ? pSource - m_pData : -1;
        const unsigned int uNeeded = m_uPosition + uCount;
        const unsigned int uDoubled =
            m_uSize == 0 ? 32 : m_uSize * 2; // wraps around for sizes that cannot be doubled
        if (uNeeded >= uCount && Resize(std::max(uNeeded, uDoubled)) != nullptr && iOwnOffset >= 0)
        {
            pData = m_pData + iOwnOffset; // realloc() moved it with the block
        }
    }

    const long long llRoom = GetRoom();
    if (llRoom < 0)
    {
        return static_cast<int>(std::max<long long>(llRoom, INT_MIN));
    }
    const int iTaken = static_cast<int>(std::min<long long>(iCount, llRoom));
    if (iTaken > 0)
    {
        std::memmove(m_pData + m_uPosition, pData, static_cast<std::size_t>(iTaken));
        m_uPosition += static_cast<unsigned int>(iTaken);
    }
    return iTaken;
}

bool CMemBlockPtr::Create(unsigned int uSize)
{
    m_bStatic = false;
    m_pData = uSize > 0 ? static_cast<char*>(std::malloc(uSize)) : nullptr;
    m_uSize = m_pData != nullptr ? uSize : 0;
    if (m_uSize != uSize)
    {
        m_uPosition = 0;
    }
    return m_uSize == uSize;
}

char* CMemBlockPtr::Resize(unsigned int uSize)
{
    char* const pOwned = m_bStatic ? nullptr : m_pData;
    char* pResized = nullptr;
    if (uSize == 0)
    {
        std::free(pOwned);
    }
    else
    {
        pResized = static_cast<char*>(std::realloc(pOwned, uSize));
        if (pResized == nullptr)
        {
            return nullptr;
        }
    }
    m_bStatic = false;
    m_pData = pResized;
    m_uSize = uSize;
    return m_pData;
}

char* CMemBlockPtr::ResizeIfNeeded(unsigned int uSize)
{
    return m_uSize < uSize ? Resize(uSize) : m_pData;
}

bool CMemBlockPtr::AssignData(const void* pData, unsigned int uSize)
{
    const bool bOwn = Owns(pData) && uSize > 0;
    if (bOwn)
    { // part of the block itself: the block shrinks to it
        std::memmove(m_pData, pData, uSize);
    }
    if (Resize(uSize) == nullptr)
    {
        return uSize == 0;
    }
    if (!bOwn)
    {
        std::memcpy(m_pData, pData, uSize);
    }
    return true;
}

void CMemBlockPtr::AssignStaticBlock(void* pBuffer, unsigned int uSize)
{
    Destroy();
    m_pData = static_cast<char*>(pBuffer);
    m_uSize = uSize;
    m_bStatic = true;
}

void CMemBlockPtr::Destroy()
{
    if (!m_bStatic)
    {
        std::free(m_pData);
    }
    m_pData = nullptr;
    m_uSize = 0;
    m_uPosition = 0;
    m_bStatic = false;
}

/// Whether the data lie in the block's own memory, which a resize may move.
bool CMemBlockPtr::Owns(const void* pData) const
{
    const auto* const pByte = static_cast<const char*>(pData);
    return !m_bStatic && m_pData != nullptr && std::greater_equal<>()(pByte, m_pData) &&
           std::less<>()(pByte, m_pData + m_uSize);
}

/// The bytes from the position to the end, negative if it lies beyond.
long long CMemBlockPtr::GetRoom() const
{
    return static_cast<long long>(m_uSize) - m_uPosition;
}
