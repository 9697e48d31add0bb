#include "mu/crc7.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace
{

constexpr std::array<unsigned char, 256> kTable = []
{
    std::array<unsigned char, 256> table{};
    for (unsigned int uByte = 0; uByte < table.size(); ++uByte)
    {
        unsigned int uCrc = uByte; // the register is the upper seven bits
        for (int iBit = 0; iBit < 8; ++iBit)
        {
            uCrc = (uCrc & 0x80U) != 0 ? (uCrc ^ 0x89U) << 1 : uCrc << 1;
        }
        table[uByte] = static_cast<unsigned char>(uCrc >> 1 & 0x7FU);
    }
    return table;
}();

unsigned char AddByBytes(unsigned char uCrc, const unsigned char* pData, std::size_t uLength)
{
    for (std::size_t i = 0; i < uLength; ++i)
    {
        uCrc = kTable[static_cast<unsigned char>(uCrc << 1) ^ pData[i]];
    }
    return uCrc;
}

// The generator polynomial is primitive, so it divides x^127 - 1. Two bits 127 places apart, and so
// two bytes 127 places apart, have the same effect on the sum. So the CRC of long data is that of
// the exclusive or of its rows of 127 bytes.
constexpr std::size_t kRow = 127;
// The same holds for rows eight times as long, which can be combined by words.
constexpr std::size_t kWordRow = kRow * sizeof(std::uint64_t);

using TAdd = unsigned char (*)(unsigned char uCrc, const unsigned char* pData, std::size_t uLength);

/// Combines all whole rows of kBytes into one by exclusive or, and lets AddRest add that row and
/// then the bytes behind the rows. Data of less than two rows go to AddRest as they are.
template <std::size_t kBytes, typename TWord, TAdd AddRest>
unsigned char AddByRows(unsigned char uCrc, const unsigned char* pData, std::size_t uLength)
{
    if (uLength >= 2 * kBytes)
    {
        TWord row[kBytes / sizeof(TWord)];
        std::memcpy(row, pData, kBytes);
        for (; uLength >= 2 * kBytes; uLength -= kBytes)
        {
            pData += kBytes;
            for (std::size_t i = 0; i < kBytes / sizeof(TWord); ++i)
            {
                TWord word;
                std::memcpy(&word, pData + i * sizeof(TWord), sizeof(TWord));
                row[i] ^= word;
            }
        }
        uCrc = AddRest(uCrc, reinterpret_cast<const unsigned char*>(row), kBytes);
        pData += kBytes;
        uLength -= kBytes;
    }
    return AddRest(uCrc, pData, uLength);
}

} // namespace

namespace mu
{

unsigned char CalcCRC7(unsigned char uCrc, const void* pData, unsigned int uLength)
{
    return AddByRows<kWordRow, std::uint64_t, AddByRows<kRow, unsigned char, AddByBytes>>(
        uCrc, static_cast<const unsigned char*>(pData), uLength);
}

} // namespace mu
