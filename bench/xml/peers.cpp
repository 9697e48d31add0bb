#include "bench/xml/peers.h"

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

template <typename TDocument>
std::unique_ptr<IDocument> Make()
{
    return std::make_unique<TDocument>();
}

} // namespace

const SPeer g_aPeers[3] = {
    {"zor", Make<CZorDocument>, true},
    {"pugixml", Make<CPugiDocument>, true},
    {"tinyxml2", Make<CTinyDocument>, true},
};
