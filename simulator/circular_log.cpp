#include "simulator/circular_log.h"

void CCircularLog::Append(std::string_view svLine)
{
    constexpr std::size_t kTextLength = kLineLength - 2;
    std::size_t uLength = svLine.size();
    if (uLength > kTextLength)
    {
        uLength = kTextLength;
        while (uLength > 0 && (static_cast<unsigned char>(svLine[uLength]) & 0xC0) == 0x80)
        {
            --uLength;
        }
    }
    std::string strLine(svLine.substr(0, uLength));
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
