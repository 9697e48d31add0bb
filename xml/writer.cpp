#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <iterator>

#include "diagnostics/function_state.h"
#include "io/file_access.h"
#include "mu/byte_block.h"
#include "mu/unicode.h"
#include "xml/element_tree.h"
#include "xml/entities.h"
#include "xml/tree_arena.h"

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
    void Raw(const mu::STreeText& text) { m_wsOut.append(text.View()); }
    void Escaped(const mu::STreeText& text)
    {
        const std::wstring_view wsText = text.View();
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
    void Raw(const mu::STreeText& text) { Add(text.m_uLength); }
    void Escaped(const mu::STreeText& text)
    {
        std::size_t uLength = text.m_uLength;
        for (const wchar_t ch : text.View())
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

/// Collects UTF-8 in a small chunk, so that the text is never held in a second form. Each name,
/// value or text leaves room in the chunk for the markup that can stand before the next.
class CUtf8Sink
{
public:
    explicit CUtf8Sink(std::string& strOut) : m_strOut(strOut) {}

    void Markup(std::string_view strText)
    {
        std::memcpy(m_pWrite, strText.data(), strText.size());
        m_pWrite += strText.size();
    }
    void Raw(const mu::STreeText& text) { Encode<false>(text); }
    void Escaped(const mu::STreeText& text) { Encode<true>(text); }
    void Flush()
    {
        m_strOut.append(std::begin(m_szChunk), m_pWrite);
        m_pWrite = m_szChunk;
    }

private:
    static constexpr std::ptrdiff_t kMarkupRoom = 64;
    static_assert(kDeclaration.size() < kMarkupRoom - 16);

    std::ptrdiff_t Room(const char* pWrite) const { return std::end(m_szChunk) - pWrite; }

    template <bool bEscape>
    static std::ptrdiff_t FirstStop(const mu::CByteBlock& block)
    {
        auto stops = block.HighBits() | block.Equal('\0');
        if constexpr (bEscape)
        {
            stops |= block.Equal('<') | block.Equal('>') | block.Equal('&') | block.Equal('"') |
                     block.Equal('\'');
        }
        return mu::CByteBlock::First(stops);
    }

    template <bool bEscape>
    static bool IsPlain(std::uint32_t uUnit)
    {
        return uUnit < kPlain.size() && (!bEscape || kPlain[uUnit]);
    }

    // pWrite is a local: any byte that is stored might be the member's, which would have to be
    // stored and loaded again for each.
    template <bool bEscape>
    void Encode(const mu::STreeText& text)
    {
        const wchar_t* p = text.m_pText;
        const wchar_t* const pEnd = p + text.m_uLength;
        // The document's memory has room for a whole block behind each text.
        const std::ptrdiff_t iLeastForBlock = text.m_uHeapCapacity == 0 ? 1 : mu::CByteBlock::kSize;
        char* pWrite = m_pWrite;
        while (true)
        {
            if (Room(pWrite) < mu::CByteBlock::kSize + kMarkupRoom)
            {
                m_pWrite = pWrite;
                Flush();
                pWrite = m_pWrite;
            }
            if (p == pEnd)
            {
                break;
            }
            std::ptrdiff_t iStep;
            std::ptrdiff_t iPlain = 0;
            if (mu::CByteBlock::kPacksUnits && pEnd - p >= iLeastForBlock)
            {
                const mu::CByteBlock block(p);
                block.Store(pWrite);
                iStep = std::min(pEnd - p, mu::CByteBlock::kSize);
                iPlain = std::min(FirstStop<bEscape>(block), iStep);
            }
            else
            {
                iStep = std::min(pEnd - p, Room(pWrite) - kMarkupRoom);
                while (iPlain != iStep && IsPlain<bEscape>(static_cast<std::uint32_t>(p[iPlain])))
                {
                    pWrite[iPlain] = static_cast<char>(p[iPlain]);
                    ++iPlain;
                }
            }
            p += iPlain;
            pWrite += iPlain;
            if (iPlain != iStep)
            {
                m_pWrite = pWrite;
                p = WriteSpecial<bEscape>(p, pEnd);
                pWrite = m_pWrite;
            }
        }
        m_pWrite = pWrite;
    }

    /// Writes the unit at p, and with one that is not ASCII those behind it that are not, too:
    /// they come in runs. Returns the place behind them.
    template <bool bEscape>
    const wchar_t* WriteSpecial(const wchar_t* p, const wchar_t* pEnd)
    {
        const auto Unit = [&p] { return static_cast<std::uint32_t>(*p); };
        if constexpr (bEscape)
        {
            if (const char* const szEntity = SEscapeXMLText::EntityFor(Unit()))
            {
                Markup(szEntity);
                return p + 1;
            }
        }
        constexpr int kLongestRun = 64;
        constexpr int kMostBytes = 4 * kLongestRun + 1; // with a terminator
        if (Room(m_pWrite) < kMostBytes)
        {
            Flush();
        }
        const wchar_t* const pRun = p;
        const wchar_t* const pStop = p + std::min<std::ptrdiff_t>(pEnd - p, kLongestRun);
        do
        {
            ++p;
        } while (p != pStop && Unit() >= kPlain.size());
        m_pWrite += mu::ConvertString(pRun, static_cast<int>(p - pRun), m_pWrite, kMostBytes);
        return p;
    }

    std::string& m_strOut;
    char m_szChunk[4096];
    char* m_pWrite = m_szChunk;
};

template <class TSink>
void WriteAttributes(const CNodeAttributesMap& attributes, TSink& sink)
{
    for (const mu::SNodeAttribute& attribute : attributes)
    {
        sink.Markup(" ");
        sink.Raw(attribute.m_name);
        sink.Markup("=\"");
        sink.Escaped(attribute.m_value);
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
    sink.Raw(element.NameInTree());
    WriteAttributes(element.GetAttributes(), sink);
    sink.Markup(IsSelfClosed(element) ? "/>" : ">");
}

template <class TSink>
void WriteEnd(const CVariablesSubTree& element, TSink& sink)
{
    if (!IsSelfClosed(element))
    {
        sink.Escaped(element.TextInTree());
        sink.Markup("</");
        sink.Raw(element.NameInTree());
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
    if (m_pArena != nullptr)
    {
        strOut.reserve(m_pArena->TextUnits()); // what is written is mostly as long as what was read
    }
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
