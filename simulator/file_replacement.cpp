#include "simulator/file_replacement.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "mu/write_all.h"

namespace
{

constexpr int kMostLinks = 40; // as the system follows them

std::string FolderOf(const std::string& strPath)
{
    return strPath.substr(0, strPath.rfind('/') + 1);
}

/// Where the path's last component leads, whether or not something is there. Returns an errno.
int FollowLinks(std::string& strPath)
{
    for (int i = 0; i < kMostLinks; ++i)
    {
        char szTarget[PATH_MAX];
        const ssize_t iLength = ::readlink(strPath.c_str(), szTarget, sizeof(szTarget));
        if (iLength < 0)
        {
            const bool bNoLink = errno == EINVAL || errno == ENOENT;
            return bNoLink ? 0 : errno;
        }
        const std::string strTarget(szTarget, static_cast<std::size_t>(iLength));
        const bool bAbsolute = strTarget.starts_with('/');
        strPath.replace(bAbsolute ? 0 : FolderOf(strPath).size(), std::string::npos, strTarget);
    }
    return ELOOP;
}

bool TakeOver(int iFile, const struct stat& old)
{
    struct stat made
    {
    };
    if (::fstat(iFile, &made) != 0)
    {
        return false;
    }
    // A change of the owner takes mode bits away, so the mode comes last.
    return ((made.st_uid == old.st_uid && made.st_gid == old.st_gid) ||
            ::fchown(iFile, old.st_uid, old.st_gid) == 0) &&
           ::fchmod(iFile, old.st_mode & 07777) == 0;
}

/// Returns an errno.
int SyncFolder(const std::string& strFolder)
{
    const int iFolder =
        ::open(strFolder.empty() ? "." : strFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (iFolder < 0)
    {
        return errno;
    }
    // Some file systems have no such operation for folders (EINVAL).
    const int iError = ::fsync(iFolder) == 0 || errno == EINVAL ? 0 : errno;
    ::close(iFolder);
    return iError;
}

/// Returns an errno.
int Replace(std::string strPath, std::string_view svContents)
{
    if (const int iError = FollowLinks(strPath))
    {
        return iError;
    }
    struct stat old
    {
    };
    const bool bExists = ::stat(strPath.c_str(), &old) == 0;
    if (bExists && !S_ISREG(old.st_mode))
    {
        return S_ISDIR(old.st_mode) ? EISDIR : EINVAL;
    }
    if (bExists ? ::faccessat(AT_FDCWD, strPath.c_str(), W_OK, AT_EACCESS) != 0 : errno != ENOENT)
    {
        return errno;
    }

    // mkostemp() chooses a name that is free, so it touches no file or link that is there already.
    std::string strNew = strPath + ".XXXXXX";
    const int iFile = ::mkostemp(strNew.data(), O_CLOEXEC);
    if (iFile < 0)
    {
        return errno;
    }
    int iError = 0;
    if ((bExists && !TakeOver(iFile, old)) ||
        mu::WriteAll(iFile, svContents.data(), svContents.size()) < svContents.size() ||
        ::fsync(iFile) != 0)
    {
        iError = errno;
    }
    if (::close(iFile) != 0 && iError == 0)
    {
        iError = errno;
    }
    if (iError == 0 && ::rename(strNew.c_str(), strPath.c_str()) != 0)
    {
        iError = errno;
    }
    if (iError != 0)
    {
        ::unlink(strNew.c_str());
        return iError;
    }
    return SyncFolder(FolderOf(strPath));
}

} // namespace

std::string ReplaceFile(const std::string& strPath, std::string_view svContents)
{
    const int iError = Replace(strPath, svContents);
    return iError == 0 ? "" : strPath + ": cannot be written: " + std::strerror(iError);
}
