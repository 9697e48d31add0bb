#ifndef ZOR_MU_WAVE_HEADER_H
#define ZOR_MU_WAVE_HEADER_H

namespace mu
{

// The header of a wave file (RIFF WAVE, PCM): 44 bytes, with one format block and the data behind.
constexpr int kWaveHeaderSize = 44;

/// The data size is in bytes, the sample rate in Hz. Channels, the bytes of a block and the bits of
/// a sample have one byte each: what does not fit is cut off, and sizes are modulo 2^32.
void SetWaveHeader(unsigned char* puHeader, int iChannels, int iBytesPerSample, int iSampleRate,
                   unsigned int uDataSize);
/// False, with the results untouched, if the 44 bytes are no header of this form.
bool GetWaveHeaderAttributes(const unsigned char* puHeader, int& iChannels, int& iBytesPerSample,
                             int& iSampleRate, unsigned int& uDataSize);

} // namespace mu

#endif
