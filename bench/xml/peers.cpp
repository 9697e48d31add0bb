#include "bench/xml/peers.h"

#include <cstring>
#include <utility>
#include <vector>

#include <expat.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <pugixml.hpp>
#include <tinyxml2.h>

#include "xml/easy_xml.h"

namespace
{

class CZorDocument : public IDocument
{
public:
    bool Load(const std::string& strXML) override
    {
        return m_exml.LoadFromText(strXML.data(), static_cast<int>(strXML.size())).IsValid();
    }
    void Write(std::string& strXML) override { m_exml.GetXML(strXML); }

private:
    CEasyXML m_exml;
};

class CPugiDocument : public IDocument
{
public:
    bool Load(const std::string& strXML) override
    {
        return m_document.load_buffer(strXML.data(), strXML.size()).status == pugi::status_ok;
    }
    void Write(std::string& strXML) override
    {
        struct SWriter : pugi::xml_writer
        {
            explicit SWriter(std::string& str) : m_str(str) {}
            void write(const void* pData, std::size_t uBytes) override
            {
                m_str.append(static_cast<const char*>(pData), uBytes);
            }
            std::string& m_str;
        };
        strXML.clear();
        SWriter writer(strXML);
        m_document.save(writer, "", pugi::format_raw);
    }

private:
    pugi::xml_document m_document;
};

class CTinyDocument : public IDocument
{
public:
    bool Load(const std::string& strXML) override
    {
        return m_document.Parse(strXML.data(), strXML.size()) == tinyxml2::XML_SUCCESS;
    }
    void Write(std::string& strXML) override
    {
        tinyxml2::XMLPrinter printer(nullptr, true);
        m_document.Print(&printer);
        strXML.assign(printer.CStr(), static_cast<std::size_t>(printer.CStrSize() - 1));
    }

private:
    tinyxml2::XMLDocument m_document;
};

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

template <class TDocument>
std::unique_ptr<IDocument> Make()
{
    return std::make_unique<TDocument>();
}

} // namespace

const SPeer g_aPeers[kPeers] = {
    {"zor", Make<CZorDocument>, true},           {"pugixml", Make<CPugiDocument>, true},
    {"tinyxml2", Make<CTinyDocument>, true},     {"libxml2", Make<CLibxml2Document>, true},
    {"expat+tree", Make<CExpatDocument>, false},
};
