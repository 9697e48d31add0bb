#include "diagnostics/crash_options.h"

#include <cstddef>
#include <cwchar>

#include "mu/unicode.h"

namespace mu
{

constinit SCrashOptions g_crashOptions;

namespace
{

constexpr int kMostBytesOfCharacter = 4;
char g_szLogFile[kMostBytesOfCharacter * SCrashOptions::kMostLogFileLength + 1];
char g_szFolder[kMostBytesOfCharacter * SCrashOptions::kMostFolderLength + 1];

template <std::size_t uSize>
void CopyPath(char (&szCopy)[uSize], const wchar_t* wszPath)
{
    constexpr std::size_t kMostCharacters = uSize / kMostBytesOfCharacter;
    const auto iLength = static_cast<int>(::wcsnlen(wszPath, kMostCharacters));
    ConvertString(wszPath, iLength, szCopy, static_cast<int>(uSize));
}

} // namespace

void SCrashOptions::SetLogFile(const wchar_t* wszPath)
{
    CopyPath(g_szLogFile, wszPath);
    m_szLogFile = g_szLogFile;
}

void SCrashOptions::SetFolder(const wchar_t* wszPath)
{
    CopyPath(g_szFolder, wszPath);
    m_szFolder = g_szFolder;
}

} // namespace mu
