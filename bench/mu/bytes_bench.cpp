#include "mu/base64.h"
#include "mu/crc7.h"
#include "mu/hex.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <openssl/evp.h>

// Binary data as text, and their checksum: <work>/<size>/<who>. "pairs" looks up two characters at
// once, in a table of all pairs; "digits" looks up one; "bytes" is the CRC's table of all bytes.

namespace
{

struct SData
{
    explicit SData(std::size_t uSize) : bytes(uSize), out(2 * uSize + 4)
    {
        std::minstd_rand random;
        for (unsigned char& uByte : bytes)
            uByte = static_cast<unsigned char>(random() >> 8);
        strBase64.resize((uSize + 2) / 3 * 4 + 1);
        ::EVP_EncodeBlock(reinterpret_cast<unsigned char*>(strBase64.data()), bytes.data(),
                          static_cast<int>(uSize));
        strBase64.pop_back();
        mu::BufferToHex(bytes.data(), static_cast<int>(uSize), mu::ELC_LOWER, strHex);
    }

    unsigned int Size() const { return static_cast<unsigned int>(bytes.size()); }
    char* Text() { return reinterpret_cast<char*>(out.data()); }

    std::vector<unsigned char> bytes;
    std::string strBase64;
    std::string strHex;
    std::vector<unsigned char> out;
};

void EncodeBase64Zor(SData& data)
{
    mu::base64_encode(data.bytes.data(), data.Size(), data.Text(),
                      static_cast<unsigned int>(data.out.size()));
}

void EncodeBase64OpenSsl(SData& data)
{
    ::EVP_EncodeBlock(data.out.data(), data.bytes.data(), static_cast<int>(data.Size()));
}

void DecodeBase64Zor(SData& data)
{
    mu::base64_decode(data.strBase64.data(), static_cast<unsigned int>(data.strBase64.size()),
                      data.out.data(), static_cast<unsigned int>(data.out.size()));
}

void DecodeBase64OpenSsl(SData& data)
{
    ::EVP_DecodeBlock(data.out.data(), reinterpret_cast<unsigned char*>(data.strBase64.data()),
                      static_cast<int>(data.strBase64.size()));
}

void EncodeHexZor(SData& data)
{
    mu::BufferToHex(data.bytes.data(), static_cast<int>(data.Size()), mu::ELC_LOWER, data.Text());
}

void EncodeHexPairs(SData& data)
{
    static const std::string strPairs = []
    {
        std::string strText;
        for (int iByte = 0; iByte < 256; ++iByte)
            strText += {"0123456789abcdef"[iByte >> 4], "0123456789abcdef"[iByte & 15]};
        return strText;
    }();
    const char* const szPairs = strPairs.data();
    char* pOut = data.Text();
    for (const unsigned char uByte : data.bytes)
    {
        std::memcpy(pOut, szPairs + 2 * uByte, 2);
        pOut += 2;
    }
}

void DecodeHexZor(SData& data)
{
    mu::HexToBin(data.strHex.data(), static_cast<int>(data.strHex.size()), data.out.data());
}

void DecodeHexPairs(SData& data)
{
    static const std::vector<unsigned char> values = []
    {
        std::vector<unsigned char> all(65536, 0xFF);
        for (unsigned int uPair = 0; uPair < all.size(); ++uPair)
        {
            char szPair[2];
            std::memcpy(szPair, &uPair, 2);
            all[uPair] = static_cast<unsigned char>(mu::HexTwoCharsToInt(szPair));
        }
        return all;
    }();
    const unsigned char* const pValues = values.data();
    const char* pText = data.strHex.data();
    unsigned char* pOut = data.out.data();
    const unsigned int uSize = data.Size();
    for (unsigned int i = 0; i < uSize; ++i)
    {
        std::uint16_t uPair;
        std::memcpy(&uPair, pText + 2 * i, 2);
        pOut[i] = pValues[uPair];
    }
}

void DecodeHexDigits(SData& data)
{
    static const std::array<signed char, 256> values = []
    {
        std::array<signed char, 256> all{};
        for (unsigned int uChar = 0; uChar < all.size(); ++uChar)
            all[uChar] = static_cast<signed char>(mu::HexCharToInt(static_cast<char>(uChar)));
        return all;
    }();
    const signed char* const pValues = values.data();
    const auto* pText = reinterpret_cast<const unsigned char*>(data.strHex.data());
    unsigned char* pOut = data.out.data();
    const unsigned int uSize = data.Size();
    for (unsigned int i = 0; i < uSize; ++i)
        pOut[i] =
            static_cast<unsigned char>(pValues[pText[2 * i]] << 4 | pValues[pText[2 * i + 1]]);
}

unsigned char CrcByBytes(const SData& data)
{
    static const std::array<unsigned char, 256> table = []
    {
        std::array<unsigned char, 256> all{};
        for (unsigned int uByte = 0; uByte < all.size(); ++uByte)
        {
            unsigned int uRegister = uByte;
            for (int iBit = 0; iBit < 8; ++iBit)
                uRegister = uRegister << 1 ^ ((uRegister & 0x80) != 0 ? 0x112U : 0);
            all[uByte] = static_cast<unsigned char>(uRegister >> 1);
        }
        return all;
    }();
    unsigned char uCrc = 0;
    for (const unsigned char uByte : data.bytes)
        uCrc = table[static_cast<unsigned char>(uCrc << 1 ^ uByte)];
    return uCrc;
}

void Check(bool bSame)
{
    if (!bSame)
        std::abort();
}

void Crc7Zor(SData& data)
{
    data.out[0] = mu::CalcCRC7(0, data.bytes.data(), data.Size());
}

void Crc7Bytes(SData& data)
{
    data.out[0] = CrcByBytes(data);
}

void Crc7Memcpy(SData& data)
{
    std::memcpy(data.out.data(), data.bytes.data(), data.bytes.size());
}

struct SContender
{
    const char* szWork;
    const char* szName;
    void (*pRun)(SData&);
};

/// The first of a work's contenders is the reference for the others' results.
constexpr SContender kContenders[] = {
    {"Base64Encode", "zor", EncodeBase64Zor},
    {"Base64Encode", "openssl", EncodeBase64OpenSsl},
    {"Base64Decode", "zor", DecodeBase64Zor},
    {"Base64Decode", "openssl", DecodeBase64OpenSsl},
    {"HexEncode", "zor", EncodeHexZor},
    {"HexEncode", "pairs", EncodeHexPairs},
    {"HexDecode", "zor", DecodeHexZor},
    {"HexDecode", "pairs", DecodeHexPairs},
    {"HexDecode", "digits", DecodeHexDigits},
    {"Crc7", "zor", Crc7Zor},
    {"Crc7", "bytes", Crc7Bytes},
    {"Crc7", "memcpy", Crc7Memcpy},
};

void Run(benchmark::State& state, const SContender& contender, std::size_t uSize)
{
    SData data(uSize);
    for (auto _ : state)
    {
        contender.pRun(data);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(uSize));

    if (contender.pRun == Crc7Memcpy)
        return;
    const std::vector<unsigned char> result = data.out;
    for (const SContender& first : kContenders)
    {
        if (std::strcmp(first.szWork, contender.szWork) == 0)
        {
            data = SData(uSize);
            first.pRun(data);
            Check(data.out == result);
            break;
        }
    }
}

bool RegisterAll()
{
    for (const std::size_t uSize : {32U, 65536U})
    {
        for (const SContender& contender : kContenders)
        {
            const std::string strName =
                std::string(contender.szWork) + (uSize == 32 ? "/32/" : "/64k/") + contender.szName;
            benchmark::RegisterBenchmark(strName.c_str(), [&contender, uSize](auto& state)
                                         { Run(state, contender, uSize); });
        }
    }
    return true;
}

const bool g_bRegistered = RegisterAll();

} // namespace
