#include <algorithm>
#include <array>
#include <cassert>
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

/// Collects UTF-8 in a small chunk, so that the whole text is never held as wide text, too. Raw()
/// and Escaped() leave room in the chunk for all the markup that can come before their next call,
/// so Markup() needs no check.
///
/// The write pointer should stay in a register. The compiler can do that only while no function is
/// given the object's address. So all that runs often is inline, and the rare steps are static.
class CUtf8Sink
{
public:
    using CChunk = char[4096];

    CUtf8Sink(std::string& strOut, CChunk& chunk) : m_strOut(strOut), m_chunk(chunk) {}

    [[gnu::always_inline]] void Markup(std::string_view strText)
    {
        m_pWrite = Append(m_pWrite, strText);
    }
    [[gnu::always_inline]] void Raw(const mu::STreeText& text) { Encode<false>(text); }
    [[gnu::always_inline]] void Escaped(const mu::STreeText& text) { Encode<true>(text); }
    [[gnu::always_inline]] void Flush() { m_pWrite = Flushed(m_strOut, m_chunk, m_pWrite); }

private:
    static constexpr std::ptrdiff_t kMarkupRoom = 64;
    static_assert(kDeclaration.size() < kMarkupRoom - 16);

    struct SPlaces
    {
        const wchar_t* m_pRead;
        char* m_pWrite;
    };

    static std::ptrdiff_t Room(const CChunk& chunk, const char* pWrite)
    {
        return std::end(chunk) - pWrite;
    }

    static char* Append(char* pWrite, std::string_view strText)
    {
        std::memcpy(pWrite, strText.data(), strText.size());
        return pWrite + strText.size();
    }

    [[gnu::noinline]] static char* Flushed(std::string& strOut, CChunk& chunk, const char* pWrite)
    {
        strOut.append(std::cbegin(chunk), pWrite);
        return chunk;
    }

    template <bool bEscape>
    static std::ptrdiff_t FirstStop(const mu::CByteBlock& block)
    {
        auto stops = block.ZeroOrHigh();
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

    template <bool bEscape>
    [[gnu::always_inline]] void Encode(const mu::STreeText& text)
    {
        const wchar_t* p = text.m_pText;
        const wchar_t* const pEnd = p + text.m_uLength;
        // The document's memory has room for a whole block behind each text.
        const std::ptrdiff_t iLeastForBlock = text.m_uHeapCapacity == 0 ? 1 : mu::CByteBlock::kSize;
        while (true)
        {
            if (Room(m_chunk, m_pWrite) < mu::CByteBlock::kSize + kMarkupRoom)
            {
                Flush();
            }
            if (p == pEnd)
            {
                break;
            }
            const wchar_t* pStop;
            if (mu::CByteBlock::kPacksUnits && pEnd - p >= iLeastForBlock)
            {
                const mu::CByteBlock block(p);
                block.Store(m_pWrite);
                const std::ptrdiff_t iStep = std::min(pEnd - p, mu::CByteBlock::kSize);
                const std::ptrdiff_t iPlain = std::min(FirstStop<bEscape>(block), iStep);
                pStop = p + iStep;
                p += iPlain;
                m_pWrite += iPlain;
            }
            else
            {
                pStop = p + std::min(pEnd - p, Room(m_chunk, m_pWrite) - kMarkupRoom);
                while (p != pStop && IsPlain<bEscape>(static_cast<std::uint32_t>(*p)))
                {
                    *m_pWrite = static_cast<char>(*p);
                    ++m_pWrite;
                    ++p;
                }
            }
            if (p != pStop)
            {
                const SPlaces behind =
                    WriteSpecial<bEscape>({p, m_pWrite}, pEnd, m_strOut, m_chunk);
                p = behind.m_pRead;
                m_pWrite = behind.m_pWrite;
            }
        }
    }

    /// Writes the next unit, which is escaped or not ASCII. Units that are not ASCII come in runs,
    /// so the whole run is written, up to a limit. Returns where reading and writing go on.
    template <bool bEscape>
    [[gnu::noinline]] static SPlaces WriteSpecial(SPlaces places, const wchar_t* pEnd,
                                                  std::string& strOut, CChunk& chunk)
    {
        const auto [pRun, pWrite] = places;
        const auto Unit = [](const wchar_t* p) { return static_cast<std::uint32_t>(*p); };
        if constexpr (bEscape)
        {
            if (const char* const szEntity = SEscapeXMLText::EntityFor(Unit(pRun)))
            {
                return {pRun + 1, Append(pWrite, szEntity)};
            }
        }
        constexpr int kLongestRun = 64;
        constexpr int kMostBytes = 4 * kLongestRun + 1; // with a terminator
        char* const pOut =
            Room(chunk, pWrite) < kMostBytes ? Flushed(strOut, chunk, pWrite) : pWrite;
        const wchar_t* const pStop = pRun + std::min<std::ptrdiff_t>(pEnd - pRun, kLongestRun);
        const wchar_t* p = pRun + 1;
        while (p != pStop && Unit(p) >= kPlain.size())
        {
            ++p;
        }
        return {p, pOut + mu::ConvertString(pRun, static_cast<int>(p - pRun), pOut, kMostBytes)};
    }

    std::string& m_strOut;
    CChunk& m_chunk;
    char* m_pWrite = m_chunk;
};

template <typename TSink>
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

template <typename TSink>
void WriteStart(const CVariablesSubTree& element, TSink& sink)
{
    sink.Markup("<");
    sink.Raw(element.NameInTree());
    WriteAttributes(element.GetAttributes(), sink);
    sink.Markup(IsSelfClosed(element) ? "/>" : ">");
}

template <typename TSink>
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

// Goes depth first without a stack: an element's parent and its index there tell what comes next.
template <typename TSink>
void WriteTree(const CVariablesSubTree& root, bool bDeclaration, TSink& sink, int& iLoopIndex)
{
    if (bDeclaration)
    {
        sink.Markup(kDeclaration);
    }
    const CVariablesSubTree* pElement = &root;
    while (true)
    {
        WriteStart(*pElement, sink);
        iLoopIndex = 0;
        while (iLoopIndex >= pElement->GetChildren().size())
        {
            WriteEnd(*pElement, sink);
            if (pElement == &root)
            {
                return;
            }
            iLoopIndex = pElement->GetIndex() + 1;
            const CVariablesSubTree* const pParent = pElement->GetParent();
            assert(pParent->GetChildren()[iLoopIndex - 1] == pElement);
            pElement = pParent;
        }
        pElement = pElement->GetChildren()[iLoopIndex];
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
    mu::CFunctionParam fpLoopIndex(fsLength, "iLoopIndex", iLoopIndex);
    mu::CFunctionParam fpTotalLength(fsLength, "iTotalLength", iTotalLength);

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
    CUtf8Sink::CChunk chunk;
    CUtf8Sink sink(strOut, chunk);
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
