#include "bench/xml/peers.h"

#include <utility>
#include <vector>

#include <expat.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

namespace
{

class CLibxml2Document : public IDocument
{
public:
    ~CLibxml2Document() override { xmlFreeDoc(m_pDocument); }
    bool Load(const std::string& strXML) override
    {
        m_pDocument = xmlReadMemory(strXML.data(), static_cast<int>(strXML.size()), "", nullptr,
                                    XML_PARSE_HUGE | XML_PARSE_COMPACT | XML_PARSE_NONET);
        return m_pDocument != nullptr;
    }
    void Write(std::string& strXML) override
    {
        xmlChar* pText = nullptr;
        int iSize = 0;
        xmlDocDumpMemoryEnc(m_pDocument, &pText, &iSize, "UTF-8");
        strXML.assign(reinterpret_cast<const char*>(pText), static_cast<std::size_t>(iSize));
        xmlFree(pText);
    }

private:
    xmlDocPtr m_pDocument = nullptr;
};

/// The tree that one writes on expat: strings, a vector of children, a vector of attributes.
class CExpatDocument : public IDocument
{
public:
    bool Load(const std::string& strXML) override
    {
        XML_Parser parser = XML_ParserCreate("UTF-8");
        m_vecOpen.assign(1, &m_top);
        XML_SetUserData(parser, this);
        XML_SetElementHandler(
            parser,
            [](void* pThis, const char* szName, const char** ppAttributes)
            { static_cast<CExpatDocument*>(pThis)->Start(szName, ppAttributes); },
            [](void* pThis, const char*)
            { static_cast<CExpatDocument*>(pThis)->m_vecOpen.pop_back(); });
        XML_SetCharacterDataHandler(
            parser,
            [](void* pThis, const char* pText, int iLength)
            {
                static_cast<CExpatDocument*>(pThis)->m_vecOpen.back()->m_strText.append(
                    pText, static_cast<std::size_t>(iLength));
            });
        const bool bParsed = XML_Parse(parser, strXML.data(), static_cast<int>(strXML.size()),
                                       XML_TRUE) == XML_STATUS_OK;
        XML_ParserFree(parser);
        return bParsed;
    }
    void Write(std::string&) override {}

private:
    struct SElement
    {
        std::string m_strName;
        std::string m_strText;
        std::vector<std::pair<std::string, std::string>> m_vecAttributes;
        std::vector<std::unique_ptr<SElement>> m_vecChildren;
    };

    void Start(const char* szName, const char** ppAttributes)
    {
        auto pElement = std::make_unique<SElement>();
        pElement->m_strName = szName;
        for (; *ppAttributes != nullptr; ppAttributes += 2)
        {
            pElement->m_vecAttributes.emplace_back(ppAttributes[0], ppAttributes[1]);
        }
        SElement* const pParent = m_vecOpen.back();
        m_vecOpen.push_back(pElement.get());
        pParent->m_vecChildren.push_back(std::move(pElement));
    }

    SElement m_top;
    std::vector<SElement*> m_vecOpen;
};

template <typename TDocument>
std::unique_ptr<IDocument> Make()
{
    return std::make_unique<TDocument>();
}

} // namespace

const SPeer g_aLargePeers[2] = {
    {"libxml2", Make<CLibxml2Document>, true},
    {"expat+tree", Make<CExpatDocument>, false},
};
