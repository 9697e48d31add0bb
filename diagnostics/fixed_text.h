#ifndef ZOR_DIAGNOSTICS_FIXED_TEXT_H
#define ZOR_DIAGNOSTICS_FIXED_TEXT_H

#include <string_view>

namespace mu
{

/// Text in a caller's buffer, to which pieces are appended. No terminating zero is written.
class CFixedText
{
public:
    CFixedText(char* szBuffer, int iBufferSize) : m_szBuffer(szBuffer), m_iSize(iBufferSize) {}

    int Length() const { return m_iLength; }
    int Room() const { return m_iSize - m_iLength; }
    char* Rest() const { return m_szBuffer + m_iLength; }
    /// Adds the bytes that the caller has written at Rest().
    void Extend(int iLength) { m_iLength += iLength; }
    void CutBackTo(int iLength) { m_iLength = iLength; }

    /// False, with nothing appended, if the piece does not fit.
    bool Append(std::string_view text)
    {
        if (Room() < static_cast<int>(text.size()))
        {
            return false;
        }
        text.copy(Rest(), text.size());
        Extend(static_cast<int>(text.size()));
        return true;
    }

private:
    char* const m_szBuffer;
    const int m_iSize;
    int m_iLength = 0;
};

} // namespace mu

#endif
