#include "simulator/text_file.h"

#include <cerrno>
#include <cstring>

#include "io/file_access.h"
#include "mu/unicode.h"

std::string ReadTextFile(const std::string& strPath, std::string& strText)
{
    char szChunk[4096];
    CFileAccess file;
    int iRead = file.Open(strPath.c_str(), CFileAccess::FM_READ, true) ? 1 : -1;
    for (strText.clear(); iRead > 0;)
    {
        iRead = file.Read(szChunk, static_cast<int>(sizeof(szChunk)));
        strText.append(szChunk, iRead > 0 ? static_cast<std::size_t>(iRead) : 0);
    }
    if (iRead < 0)
    {
        return strPath + ": cannot be read: " + std::strerror(errno);
    }
    if (strText.starts_with(mu::kByteOrderMark))
    {
        strText.erase(0, mu::kByteOrderMark.size());
    }
    return {};
}
