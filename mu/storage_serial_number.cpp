// The serial number of the device's disk.

#include "mu/file_system.h"

#include <cstddef>

#include "diagnostics/function_state.h"
#include "io/file_access.h"
#include "mu/hex.h"
#include "threading/posix_mutex.h"

namespace
{

mu::CPosixMutex g_mutexOfSerialNumber = PTHREAD_MUTEX_INITIALIZER;
std::string g_strSerialNumber ZOR_GUARDED_BY(g_mutexOfSerialNumber);

} // namespace

namespace mu
{

bool GetMainStorageSerialNumber(std::string& strSerialNumber)
{
    CFunctionSwitch fsSerialNumber("PD::GMSSN");

    strSerialNumber.clear();
    std::string strPath = "/proc/ide/hd?/identify";
    char& cDrive = strPath[strPath.find('?')];
    std::string strIdentify;
    for (cDrive = 'a'; cDrive <= 'z'; ++cDrive)
    {
        if (CFileAccess::GetStrFileContent(strPath.c_str(), strIdentify) &&
            ParseIdentifySerialNumber(strIdentify, strSerialNumber))
        {
            return true;
        }
    }
    return false;
}

bool ParseIdentifySerialNumber(const std::string& strIdentify, std::string& strSerialNumber)
{
    constexpr int kFirstWord = 10;
    constexpr int kEndWord = 20;
    constexpr std::size_t kWordLength = 5; // four digits and a blank or line end

    strSerialNumber.clear();
    if (strIdentify.size() < kEndWord * kWordLength)
    {
        return false;
    }
    std::string strCharacters;
    for (std::size_t u = kFirstWord * kWordLength; u < kEndWord * kWordLength; u += kWordLength)
    {
        for (const std::size_t uDigit : {u, u + 2})
        {
            const int iCharacter = HexCharsToInt(&strIdentify[uDigit], 2);
            if (iCharacter < ' ' || iCharacter > '~')
            {
                return false;
            }
            strCharacters += static_cast<char>(iCharacter);
        }
    }
    const std::size_t uFirst = strCharacters.find_first_not_of(' ');
    if (uFirst == std::string::npos)
    {
        return false;
    }
    strSerialNumber =
        strCharacters.substr(uFirst, strCharacters.find_last_not_of(' ') + 1 - uFirst);
    return true;
}

void SetMainStorageSerialNumber(const std::string& strSerialNumber)
{
    const CPosixLock lock(g_mutexOfSerialNumber);
    g_strSerialNumber = strSerialNumber;
}

std::string GetSavedMainStorageSerialNumber()
{
    const CPosixLock lock(g_mutexOfSerialNumber);
    return g_strSerialNumber;
}

} // namespace mu
