#ifndef ZOR_TESTS_SUPPORT_TEMPORARY_FOLDER_H
#define ZOR_TESTS_SUPPORT_TEMPORARY_FOLDER_H

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

/// A folder of its own that goes, with all it holds, at the end of the scope.
class CTemporaryFolder
{
public:
    CTemporaryFolder()
        : m_strPath((std::filesystem::temp_directory_path() / "zor_test_XXXXXX").string())
    {
        if (mkdtemp(m_strPath.data()) == nullptr)
        {
            throw std::runtime_error("no temporary folder");
        }
    }
    ~CTemporaryFolder()
    {
        std::error_code error;
        std::filesystem::remove_all(m_strPath, error);
    }

    CTemporaryFolder(CTemporaryFolder&&) = delete; // nor copied

    /// Without a separator at the end.
    const std::string& Path() const { return m_strPath; }
    std::string Path(const std::string& strName) const { return m_strPath + "/" + strName; }
    std::wstring WidePath() const { return {m_strPath.begin(), m_strPath.end()}; }
    std::wstring WidePath(const std::wstring& wsName) const { return WidePath() + L"/" + wsName; }

private:
    std::string m_strPath;
};

#endif
