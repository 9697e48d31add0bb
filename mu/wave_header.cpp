#include "mu/wave_header.h"

#include <cstring>

#include "mu/binary.h"

namespace
{

constexpr char kRiff[] = {'R', 'I', 'F', 'F'};
constexpr char kFormat[] = {'W', 'A', 'V', 'E', 'f', 'm', 't', ' '};
constexpr char kData[] = {'d', 'a', 't', 'a'};

} // namespace

namespace mu
{

void SetWaveHeader(unsigned char* puHeader, int iChannels, int iBytesPerSample, int iSampleRate,
                   unsigned int uDataSize)
{
    const auto uSampleRate = static_cast<unsigned int>(iSampleRate);
    const auto uBytesPerSample = static_cast<unsigned int>(iBytesPerSample);
    const unsigned int uBlock = static_cast<unsigned int>(iChannels) * uBytesPerSample;

    std::memcpy(puHeader, kRiff, sizeof(kRiff));
    IntToFourBytesLE(uDataSize + (kWaveHeaderSize - 8), puHeader + 4);
    std::memcpy(puHeader + 8, kFormat, sizeof(kFormat));
    IntToFourBytesLE(16, puHeader + 16); // bytes of the format block
    IntToTwoBytesLE(1, puHeader + 20);   // PCM
    // On purpose: the high bytes of these three stay 0.
    IntToTwoBytesLE(static_cast<unsigned char>(iChannels), puHeader + 22);
    IntToFourBytesLE(uSampleRate, puHeader + 24);
    IntToFourBytesLE(uSampleRate * uBlock, puHeader + 28);
    IntToTwoBytesLE(static_cast<unsigned char>(uBlock), puHeader + 32);
    IntToTwoBytesLE(static_cast<unsigned char>(uBytesPerSample * 8), puHeader + 34);
    std::memcpy(puHeader + 36, kData, sizeof(kData));
    IntToFourBytesLE(uDataSize, puHeader + 40);
}

bool GetWaveHeaderAttributes(const unsigned char* puHeader, int& iChannels, int& iBytesPerSample,
                             int& iSampleRate, unsigned int& uDataSize)
{
    if (std::memcmp(puHeader, kRiff, sizeof(kRiff)) != 0 ||
        std::memcmp(puHeader + 8, kFormat, sizeof(kFormat)) != 0 ||
        std::memcmp(puHeader + 36, kData, sizeof(kData)) != 0)
    {
        return false;
    }
    iChannels = puHeader[22];
    iSampleRate = FourBytesToIntLE(puHeader + 24);
    iBytesPerSample = puHeader[34] / 8;
    uDataSize = static_cast<unsigned int>(FourBytesToIntLE(puHeader + 40));
    return true;
}

} // namespace mu
