#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <iterator>

#include "diagnostics/function_state.h"
#include "io/file_access.h"
#include "mu/unicode.h"
#include "xml/byte_block.h"
#include "xml/element_tree.h"
#include "xml/entities.h"

namespace
{

constexpr std::string_view kDeclaration = "<?xml version='1.0' encoding='UTF-8'?>";

/// The ASCII characters that are written as they are.
constexpr auto kPlain = []
{
    std::array<bool, 128> plain{};
    for (std::uint32_t u = 0; u < plain.size(); ++u)
    {
        plain[u] = SEscapeXMLText::EntityFor(u) == nullptr;
    }
    return plain;
}();

// Sinks: Markup() takes ASCII, Raw() a name, Escaped() a value or text.

class CWideSink
{
public:
    explicit CWideSink(std::wstring& wsOut) : m_wsOut(wsOut) {}

    void Markup(std::string_view strText) { m_wsOut.append(strText.begin(), strText.end()); }
    void Raw(std::wstring_view wsText) { m_wsOut.append(wsText); }
    void Escaped(std::wstring_view wsText)
    {
        std::size_t uStart = 0;
        for (std::size_t i = 0; i < wsText.size(); ++i)
        {
            if (const char* const szEntity =
                    SEscapeXMLText::EntityFor(static_cast<std::uint32_t>(wsText[i])))
            {
                m_wsOut.append(wsText, uStart, i - uStart);
                Markup(szEntity);
                uStart = i + 1;
            }
        }
        m_wsOut.append(wsText, uStart, std::wstring_view::npos);
    }

private:
    std::wstring& m_wsOut;
};

class CLengthSink
{
public:
    explicit CLengthSink(int& iTotalLength) : m_iTotalLength(iTotalLength) {}

    void Markup(std::string_view strText) { Add(strText.size()); }
    void Raw(std::wstring_view wsText) { Add(wsText.size()); }
    void Escaped(std::wstring_view wsText)
    {
        std::size_t uLength = wsText.size();
        for (const wchar_t ch : wsText)
        {
            if (const char* const szEntity =
                    SEscapeXMLText::EntityFor(static_cast<std::uint32_t>(ch)))
            {
                uLength += std::strlen(szEntity) - 1;
            }
        }
        Add(uLength);
    }

private:
    void Add(std::size_t uUnits)
    {
        const auto uRoom = static_cast<std::size_t>(INT_MAX - m_iTotalLength);
        m_iTotalLength += static_cast<int>(std::min(uUnits, uRoom));
    }

    int& m_iTotalLength;
};

/// Collects UTF-8 in a small chunk, so that the text is never held in a second form.
class CUtf8Sink
{
public:
    explicit CUtf8Sink(std::string& strOut) : m_strOut(strOut) {}

    void Markup(std::string_view strText)
    {
        EnsureRoom(strText.size()); // the longest piece of markup is far shorter than the chunk
        std::memcpy(m_pWrite, strText.data(), strText.size());
        m_pWrite += strText.size();
    }
    void Raw(std::wstring_view wsText) { Encode<false>(wsText); }
    void Escaped(std::wstring_view wsText) { Encode<true>(wsText); }
    void Flush()
    {
        m_strOut.append(std::begin(m_szChunk), m_pWrite);
        m_pWrite = m_szChunk;
    }

private:
    void EnsureRoom(std::size_t uBytes)
    {
        if (static_cast<std::size_t>(std::end(m_szChunk) - m_pWrite) < uBytes)
        {
            Flush();
        }
    }

    template <bool bEscape>
    static CByteBlock::TMask Stops(const CByteBlock& block)
    {
        auto uStops = block.HighBits() | block.Equal('\0');
        if constexpr (bEscape)
        {
            uStops |= block.Equal('<') | block.Equal('>') | block.Equal('&') | block.Equal('"') |
                      block.Equal('\'');
        }
        return uStops;
    }

    template <bool bEscape>
    static bool IsPlain(std::uint32_t uUnit)
    {
        return uUnit < kPlain.size() && (!bEscape || kPlain[uUnit]);
    }

    template <bool bEscape>
    void Encode(std::wstring_view wsText)
    {
        const wchar_t* p = wsText.data();
        const wchar_t* const pEnd = p + wsText.size();
        while (p != pEnd)
        {
            EnsureRoom(CByteBlock::kSize);
            if (pEnd - p >= CByteBlock::kSize)
            {
                const CByteBlock block(p);
                block.Store(m_pWrite);
                const auto uStops = Stops<bEscape>(block);
                const std::ptrdiff_t iPlain =
                    uStops != 0 ? CByteBlock::First(uStops) : CByteBlock::kSize;
                p += iPlain;
                m_pWrite += iPlain;
                if (uStops == 0)
                {
                    continue;
                }
            }
            const wchar_t* const pStop = p + std::min(pEnd - p, CByteBlock::kSize);
            while (p != pStop && IsPlain<bEscape>(static_cast<std::uint32_t>(*p)))
            {
                *m_pWrite = static_cast<char>(*p);
                ++m_pWrite;
                ++p;
            }
            if (p != pStop)
            {
                Special<bEscape>(*p);
                ++p;
            }
        }
    }

    template <bool bEscape>
    void Special(wchar_t ch)
    {
        if constexpr (bEscape)
        {
            if (const char* const szEntity =
                    SEscapeXMLText::EntityFor(static_cast<std::uint32_t>(ch)))
            {
                Markup(szEntity);
                return;
            }
        }
        constexpr int kLongest = 5; // four bytes and the terminator
        EnsureRoom(kLongest);
        m_pWrite += mu::ConvertString(&ch, 1, m_pWrite, kLongest);
    }

    std::string& m_strOut;
    char m_szChunk[4096];
    char* m_pWrite = m_szChunk;
};

template <class TSink>
void WriteAttributes(const CNodeAttributesMap& attributes, TSink& sink)
{
    for (const SNodeAttribute& attribute : attributes)
    {
        sink.Markup(" ");
        sink.Raw(attribute.m_name.View());
        sink.Markup("=\"");
        sink.Escaped(attribute.m_value.View());
        sink.Markup("\"");
    }
}

bool IsSelfClosed(const CVariablesSubTree& element)
{
    return element.GetChildren().empty() && element.GetText().empty();
}

template <class TSink>
void WriteStart(const CVariablesSubTree& element, TSink& sink)
{
    sink.Markup("<");
    sink.Raw(element.GetName());
    WriteAttributes(element.GetAttributes(), sink);
    sink.Markup(IsSelfClosed(element) ? "/>" : ">");
}

template <class TSink>
void WriteEnd(const CVariablesSubTree& element, TSink& sink)
{
    if (!IsSelfClosed(element))
    {
        sink.Escaped(element.GetText());
        sink.Markup("</");
        sink.Raw(element.GetName());
        sink.Markup(">");
    }
}

// Depth first by the parent links and positions, which serve as the stack.
template <class TSink>
void WriteTree(const CVariablesSubTree& root, bool bDeclaration, TSink& sink, int& iLoopIndex)
{
    if (bDeclaration)
    {
        sink.Markup(kDeclaration);
    }
    const CVariablesSubTree* pElement = &root;
    WriteStart(root, sink);
    iLoopIndex = 0;
    while (true)
    {
        const CVariablesSubTreesVector& children = pElement->GetChildren();
        if (iLoopIndex < children.size())
        {
            pElement = children[iLoopIndex];
            WriteStart(*pElement, sink);
            iLoopIndex = 0;
            continue;
        }
        WriteEnd(*pElement, sink);
        if (pElement == &root)
        {
            return;
        }
        iLoopIndex = pElement->GetIndex() + 1;
        pElement = pElement->GetParent();
    }
}

} // namespace

void CNodeAttributesMap::ToTagAttributes(std::wstring& wsOut) const
{
    CWideSink sink(wsOut);
    WriteAttributes(*this, sink);
}

int CNodeAttributesMap::ToTagAttributesLength() const
{
    int iTotalLength = 0;
    CLengthSink sink(iTotalLength);
    WriteAttributes(*this, sink);
    return iTotalLength;
}

int CVariablesTree::ToXMLLength() const
{
    int iLoopIndex = 0;
    int iTotalLength = 0;
    CFunctionSwitch fsLength("VT::TXL");
    CFunctionParam fpLoopIndex(fsLength, "iLoopIndex", iLoopIndex);
    CFunctionParam fpTotalLength(fsLength, "iTotalLength", iTotalLength);

    if (m_pRoot != nullptr)
    {
        CLengthSink sink(iTotalLength);
        WriteTree(*m_pRoot, m_bHeaderEnabled, sink, iLoopIndex);
    }
    return iTotalLength;
}

bool CVariablesTree::ToXML(std::wstring& wsOut) const
{
    CFunctionSwitch fsToXML("VT::TXML");

    if (m_pRoot == nullptr)
    {
        return false;
    }
    wsOut.clear();
    wsOut.reserve(static_cast<std::size_t>(ToXMLLength()));
    CWideSink sink(wsOut);
    int iLoopIndex = 0;
    WriteTree(*m_pRoot, m_bHeaderEnabled, sink, iLoopIndex);
    return true;
}

bool CVariablesTree::ToUTF8(std::string& strOut) const
{
    CFunctionSwitch fsToXML("VT::TXML");

    if (m_pRoot == nullptr)
    {
        return false;
    }
    strOut.clear();
    CUtf8Sink sink(strOut);
    int iLoopIndex = 0;
    WriteTree(*m_pRoot, m_bHeaderEnabled, sink, iLoopIndex);
    sink.Flush();
    return true;
}

bool CVariablesTree::ToFile(const wchar_t* wszPath) const
{
    std::string strText;
    if (wszPath == nullptr || !ToUTF8(strText) || strText.size() > INT_MAX)
    {
        return false;
    }
    CFileAccess file;
    return file.Open(wszPath, CFileAccess::FM_CREATE, false) && file.WriteUTF8Header() &&
           file.Write(strText.data(), static_cast<int>(strText.size())) ==
               static_cast<int>(strText.size());
}
