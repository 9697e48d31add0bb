#ifndef ZOR_TESTS_CONSOLE_MESSAGES_H
#define ZOR_TESTS_CONSOLE_MESSAGES_H

#include <cstdint>
#include <string>

#include "mu/binary.h"

inline std::string Word(std::uint32_t dwValue)
{
    std::string strWord(4, '\0');
    mu::IntToFourBytesLE(dwValue, strWord.data());
    return strWord;
}

/// A message as it goes through a pipe.
inline std::string Message(char chType, std::uint32_t dwArgument, const std::string& strPayload)
{
    return Word(static_cast<unsigned char>(chType)) + Word(dwArgument) +
           Word(static_cast<std::uint32_t>(strPayload.size())) + strPayload;
}

#endif
