#ifndef ZOR_TESTS_SUPPORT_COMMA_LOCALE_H
#define ZOR_TESTS_SUPPORT_COMMA_LOCALE_H

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "tests/support/files.h"
#include "tests/support/temporary_folder.h"

/// A process locale that writes the decimal point as a comma, until the end of the scope. Few
/// machines have one installed, so it is made from the one that each has.
class CCommaLocale
{
public:
    CCommaLocale()
    {
        const CTemporaryFolder folder;
        std::filesystem::create_directory(folder.Path("comma"));
        std::string strNumeric = ReadFile("/usr/lib/locale/C.utf8/LC_NUMERIC");
        std::replace(strNumeric.begin(), strNumeric.end(), '.', ',');
        WriteFile(folder.Path("comma/LC_NUMERIC"), strNumeric);
        ::setenv("LOCPATH", folder.Path().c_str(), 1);
        std::setlocale(LC_NUMERIC, "comma");
    }
    ~CCommaLocale()
    {
        std::setlocale(LC_NUMERIC, "C");
        ::unsetenv("LOCPATH");
    }

    CCommaLocale(CCommaLocale&&) = delete; // nor copied

    bool IsActive() const { return *std::localeconv()->decimal_point == ','; }
};

#endif
