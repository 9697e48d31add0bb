#ifndef ZOR_MU_CRC7_H
#define ZOR_MU_CRC7_H

namespace mu
{

/// CRC-7 of SD and MMC cards (x^7 + x^3 + 1, the highest bit first, no inversion), continued from
/// uCrc, which is 0 at the start. A card's command ends in the byte uCrc * 2 + 1. Bit 7 of uCrc
/// does not count, but is returned as it is for a length of 0.
unsigned char CalcCRC7(unsigned char uCrc, const void* pData, unsigned int uLength);

} // namespace mu

#endif
