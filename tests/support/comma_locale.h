#ifndef ZOR_TESTS_SUPPORT_COMMA_LOCALE_H
#define ZOR_TESTS_SUPPORT_COMMA_LOCALE_H

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

/// A process locale that writes the decimal point as a comma, until the end of the scope. Few
/// machines have one installed, so it is made from the one that each has.
class CCommaLocale
{
public:
    CCommaLocale()
    {
        std::string strFolder = (std::filesystem::temp_directory_path() / "zor-XXXXXX").string();
        if (::mkdtemp(strFolder.data()) == nullptr)
        {
            return;
        }
        std::filesystem::create_directory(strFolder + "/comma");

        std::ifstream original("/usr/lib/locale/C.utf8/LC_NUMERIC", std::ios::binary);
        std::string strNumeric(std::istreambuf_iterator<char>(original), {});
        std::replace(strNumeric.begin(), strNumeric.end(), '.', ',');
        std::ofstream(strFolder + "/comma/LC_NUMERIC", std::ios::binary) << strNumeric;

        ::setenv("LOCPATH", strFolder.c_str(), 1);
        std::setlocale(LC_NUMERIC, "comma");
        std::filesystem::remove_all(strFolder);
    }
    ~CCommaLocale()
    {
        std::setlocale(LC_NUMERIC, "C");
        ::unsetenv("LOCPATH");
    }

    CCommaLocale(const CCommaLocale&) = delete;
    CCommaLocale& operator=(const CCommaLocale&) = delete;

    bool IsActive() const { return *std::localeconv()->decimal_point == ','; }
};

#endif
