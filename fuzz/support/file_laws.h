#ifndef ZOR_FUZZ_SUPPORT_FILE_LAWS_H
#define ZOR_FUZZ_SUPPORT_FILE_LAWS_H

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

#include "fuzz/support/law.h"
#include "fuzz/support/memory_file.h"
#include "fuzz/support/plain_utf8.h"
#include "io/file_access.h"
#include "mu/file_system.h"
#include "mu/memory_block.h"
#include "xml/easy_xml.h"

// Whole files: text of any encoding beside the plainest decoder, bytes beside themselves.

struct SEncoding
{
    CFileAccess::ETextFileEncoding m_eEncoding = CFileAccess::TFE_NONE; ///< of no text
    int m_iMark = -1;
};

inline SEncoding PlainDetect(std::string_view svBytes)
{
    using namespace std::string_view_literals;
    struct SMark
    {
        std::string_view m_svMark;
        CFileAccess::ETextFileEncoding m_eEncoding;
    };
    constexpr SMark kMarks[] = {{"\xEF\xBB\xBF"sv, CFileAccess::TFE_UTF8},
                                {"\xFF\xFE"sv, CFileAccess::TFE_UTF16LE},
                                {"\xFE\xFF"sv, CFileAccess::TFE_UTF16BE}};
    for (const auto& [svMark, eEncoding] : kMarks)
    {
        if (svBytes.starts_with(svMark))
        {
            return {eEncoding, static_cast<int>(svMark.size())};
        }
    }
    if (svBytes.size() < 2 || svBytes.starts_with("\0\0"sv))
    {
        return {};
    }
    return {svBytes[0] == '\0'   ? CFileAccess::TFE_UTF16BE
            : svBytes[1] == '\0' ? CFileAccess::TFE_UTF16LE
                                 : CFileAccess::TFE_UTF8,
            0};
}

inline std::wstring PlainText(std::string_view svBytes, const SEncoding& encoding)
{
    svBytes.remove_prefix(static_cast<std::size_t>(encoding.m_iMark));
    if (encoding.m_eEncoding == CFileAccess::TFE_UTF8)
    {
        return PlainDecode(svBytes).m_wsText;
    }
    std::wstring wsText;
    for (std::size_t u = 0; u + 1 < svBytes.size(); u += 2)
    {
        const auto uFirst = static_cast<unsigned char>(svBytes[u]);
        const auto uSecond = static_cast<unsigned char>(svBytes[u + 1]);
        wsText += static_cast<wchar_t>(encoding.m_eEncoding == CFileAccess::TFE_UTF16LE
                                           ? uSecond << 8 | uFirst
                                           : uFirst << 8 | uSecond);
    }
    return wsText;
}

inline void CheckText(const CMemoryFile& file, const std::string& strBytes)
{
    const SEncoding plain = PlainDetect(strBytes);
    const std::wstring wsPath = file.WidePath();
    SEncoding found;
    const bool bText = plain.m_eEncoding != CFileAccess::TFE_NONE;
    Law(CFileAccess::DetectTextFileEncoding(wsPath.c_str(), found.m_eEncoding, found.m_iMark) ==
                bText &&
            found.m_eEncoding == plain.m_eEncoding && found.m_iMark == plain.m_iMark,
        "detects the encoding, or changes nothing");

    std::wstring wsText = L"before";
    std::wstring wsPlain = bText ? PlainText(strBytes, plain) : L"before";
    Law(CFileAccess::ToString(wsPath.c_str(), wsText) == bText && wsText == wsPlain,
        "loads the text, or changes nothing");

    CEasyXML exmlFile;
    CEasyXML exmlText;
    std::ranges::replace(wsPlain, L'\0', L' ');
    const bool bDocument = bText && exmlText.LoadFromText(wsPlain.c_str()).IsValid();
    std::wstring wsFile;
    Law(exmlFile.LoadFromFile(wsPath.c_str()).IsValid() == bDocument,
        "a file is a document if its text is one");
    Law(exmlFile.GetXML(wsFile) == bDocument && (!exmlText.GetXML(wsText) || wsFile == wsText),
        "and the same one");
    if (bDocument)
    {
        const CMemoryFile saved;
        std::string strText;
        Law(exmlFile.SaveToFile(saved.WidePath().c_str()) && exmlFile.GetXML(strText) &&
                saved.Contents() == "\xEF\xBB\xBF" + strText,
            "saves a document in UTF-8 behind a mark");
    }
}

inline void CheckBytes(const CMemoryFile& file, const std::string& strBytes)
{
    CMemBlockPtr block;
    const int iLoaded = CFileAccess::ToBuffer(file.WidePath().c_str(), block);
    Law(iLoaded == static_cast<int>(strBytes.size()) && block.GetSize() == strBytes.size() &&
            std::string_view(block.GetData(), block.GetSize()) == strBytes,
        "loads a file into a block");
    std::string strContent = "before";
    Law(CFileAccess::GetStrFileContent(file.Path().c_str(), strContent) && strContent == strBytes,
        "loads a file into a string");

    const CMemoryFile target("what was there, and longer than some of what comes");
    constexpr unsigned long long kTime = 1'100'000'000;
    unsigned long long ull = 0;
    unsigned long long ullModified = 0;
    mu::SetFileTimesByPath(file.WidePath().c_str(), 0, 1'000'000'000, kTime);
    Law(CFileAccess::Copy(file.WidePath().c_str(), target.WidePath().c_str()) &&
            target.Contents() == strBytes &&
            mu::GetFileTimesByPath(target.WidePath().c_str(), ull, ull, ullModified) &&
            ullModified == kTime,
        "copies a file with its time");
    Law(CFileAccess::SetStrFileContent(target.Path().c_str(), strBytes.c_str()) &&
            target.Contents() == strBytes.substr(0, strBytes.find('\0')),
        "stores a text up to its NUL");
    CFileAccess copy;
    Law(copy.Open(target.WidePath().c_str(), CFileAccess::FM_CREATE, false) &&
            copy.Copy(&block) == strBytes.size() && target.Contents() == strBytes,
        "copies what a reader delivers");
    const std::size_t uHalf = strBytes.size() / 2;
    Law(copy.SetPosition(strBytes.size()) && copy.Truncate(uHalf) && copy.GetPosition() == uHalf &&
            copy.GetSize() == uHalf && target.Contents() == strBytes.substr(0, uHalf),
        "cuts a file, and the position with it");
    CFileAccess reader;
    Law(reader.Open(file.WidePath().c_str(), CFileAccess::FM_READ, true) &&
            reader.SetPosition(uHalf) && copy.Truncate(0ULL) &&
            copy.Copy(&reader) == strBytes.size() - uHalf &&
            target.Contents() == strBytes.substr(uHalf),
        "copies a file from its position on");
}

inline void CheckFile(const std::string& strBytes)
{
    const CMemoryFile file(strBytes);
    CheckText(file, strBytes);
    CheckBytes(file, strBytes);
}

#endif
