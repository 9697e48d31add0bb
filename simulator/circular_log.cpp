#include "simulator/circular_log.h"

#include "mu/unicode.h"

void CCircularLog::Append(std::string_view svLine)
{
    constexpr std::size_t kTextLength = kLineLength - 2;
    std::string strLine(mu::CutText(svLine, kTextLength));
    strLine.resize(kTextLength, ' ');
    strLine += "\r\n";

    if (m_strBuffer.size() < kLines * kLineLength)
    {
        m_strBuffer += strLine;
    }
    else
    {
        m_strBuffer.replace(m_uNext, kLineLength, strLine);
        m_uNext = (m_uNext + kLineLength) % m_strBuffer.size();
    }
}
