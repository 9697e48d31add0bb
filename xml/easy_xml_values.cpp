// The texts and attributes of CEasyXMLNode as values: text, numbers and bool.

#include "xml/easy_xml_node.h"

#include "mu/lengths.h"
#include "mu/numbers.h"
#include "mu/unicode.h"

namespace
{

void FromText(std::wstring_view wsText, std::wstring& wsValue)
{
    wsValue = wsText;
}

void FromText(std::wstring_view wsText, std::string& strValue)
{
    const int iLength = mu::IntCount(wsText.size());
    // Throws: the conversion would leave an empty string where there is no memory.
    strValue.reserve(
        static_cast<std::size_t>(mu::GetConvertedStringLength(wsText.data(), iLength)));
    mu::ConvertString(wsText.data(), iLength, strValue);
}

void FromText(std::wstring_view wsText, int& iValue)
{
    iValue = mu::StringToInt(std::wstring(wsText));
}

void FromText(std::wstring_view wsText, long long& llValue)
{
    llValue = mu::StringToInt64(std::wstring(wsText));
}

void FromText(std::wstring_view wsText, double& dValue)
{
    dValue = mu::StringToDouble(std::wstring(wsText));
}

void FromText(std::wstring_view wsText, bool& bValue)
{
    bValue = mu::StringToBool(std::wstring(wsText));
}

std::wstring ToText(std::string_view strValue)
{
    std::wstring wsValue;
    wsValue.reserve(strValue.size()); // throws, as above
    mu::ConvertString(strValue.data(), mu::IntCount(strValue.size()), wsValue);
    return wsValue;
}

std::wstring ToText(const char* szValue)
{
    return ToText(szValue != nullptr ? std::string_view(szValue) : std::string_view());
}

std::wstring_view ToText(const wchar_t* wszValue)
{
    return wszValue != nullptr ? std::wstring_view(wszValue) : std::wstring_view();
}

} // namespace

template <typename TValue>
bool CEasyXMLNode::GetText(TValue& value) const
{
    if (IsValid())
    {
        FromText(m_pElement->GetText(), value);
    }
    return IsValid();
}

template <typename TValue>
bool CEasyXMLNode::GetAttribute(const wchar_t* wszName, TValue& value) const
{
    const mu::SNodeAttribute* const pAttribute =
        IsValid() ? m_pElement->GetAttributes().Find(ToText(wszName)) : nullptr;
    if (pAttribute != nullptr)
    {
        FromText(pAttribute->m_value.View(), value);
    }
    return pAttribute != nullptr;
}

bool CEasyXMLNode::SetText(std::wstring_view wsValue)
{
    if (IsValid())
    {
        m_pElement->SetText(wsValue);
    }
    return IsValid();
}

bool CEasyXMLNode::SetAttribute(const wchar_t* wszName, std::wstring_view wsValue)
{
    if (IsValid())
    {
        m_pElement->SetAttribute(ToText(wszName), wsValue);
    }
    return IsValid();
}

bool CEasyXMLNode::GetTextValue(std::wstring& wsValue) const
{
    return GetText(wsValue);
}

bool CEasyXMLNode::GetTextValue(std::string& strValue) const
{
    return GetText(strValue);
}

bool CEasyXMLNode::GetTextValue(int& iValue) const
{
    return GetText(iValue);
}

bool CEasyXMLNode::GetTextValue(long long& llValue) const
{
    return GetText(llValue);
}

bool CEasyXMLNode::GetTextValue(double& dValue) const
{
    return GetText(dValue);
}

bool CEasyXMLNode::GetTextValue(bool& bValue) const
{
    return GetText(bValue);
}

bool CEasyXMLNode::SetTextValue(const std::wstring& wsValue)
{
    return SetText(wsValue);
}

bool CEasyXMLNode::SetTextValue(const std::string& strValue)
{
    return SetText(ToText(strValue));
}

bool CEasyXMLNode::SetTextValue(const wchar_t* wszValue)
{
    return SetText(ToText(wszValue));
}

bool CEasyXMLNode::SetTextValue(const char* szValue)
{
    return SetText(ToText(szValue));
}

bool CEasyXMLNode::SetTextValue(int iValue)
{
    return SetText(mu::IntToString(iValue));
}

bool CEasyXMLNode::SetTextValue(long long llValue)
{
    return SetText(mu::Int64ToString(llValue));
}

bool CEasyXMLNode::SetTextValue(double dValue)
{
    return SetText(mu::DoubleToString(dValue));
}

bool CEasyXMLNode::SetTextBool(bool bValue)
{
    return SetText(mu::BoolToString(bValue));
}

bool CEasyXMLNode::GetAttributeValue(const wchar_t* wszName, std::wstring& wsValue) const
{
    return GetAttribute(wszName, wsValue);
}

bool CEasyXMLNode::GetAttributeValue(const wchar_t* wszName, std::string& strValue) const
{
    return GetAttribute(wszName, strValue);
}

bool CEasyXMLNode::GetAttributeValue(const wchar_t* wszName, int& iValue) const
{
    return GetAttribute(wszName, iValue);
}

bool CEasyXMLNode::GetAttributeValue(const wchar_t* wszName, long long& llValue) const
{
    return GetAttribute(wszName, llValue);
}

bool CEasyXMLNode::GetAttributeValue(const wchar_t* wszName, double& dValue) const
{
    return GetAttribute(wszName, dValue);
}

bool CEasyXMLNode::GetAttributeValue(const wchar_t* wszName, bool& bValue) const
{
    return GetAttribute(wszName, bValue);
}

bool CEasyXMLNode::SetAttributeValue(const wchar_t* wszName, const wchar_t*,
                                     const std::wstring& wsValue)
{
    return SetAttribute(wszName, wsValue);
}

bool CEasyXMLNode::SetAttributeValue(const wchar_t* wszName, const wchar_t*,
                                     const std::string& strValue)
{
    return SetAttribute(wszName, ToText(strValue));
}

bool CEasyXMLNode::SetAttributeValue(const wchar_t* wszName, const wchar_t*,
                                     const wchar_t* wszValue)
{
    return SetAttribute(wszName, ToText(wszValue));
}

bool CEasyXMLNode::SetAttributeValue(const wchar_t* wszName, const wchar_t*, const char* szValue)
{
    return SetAttribute(wszName, ToText(szValue));
}

bool CEasyXMLNode::SetAttributeValue(const wchar_t* wszName, const wchar_t*, int iValue)
{
    return SetAttribute(wszName, mu::IntToString(iValue));
}

bool CEasyXMLNode::SetAttributeValue(const wchar_t* wszName, const wchar_t*, long long llValue)
{
    return SetAttribute(wszName, mu::Int64ToString(llValue));
}

bool CEasyXMLNode::SetAttributeValue(const wchar_t* wszName, const wchar_t*, double dValue)
{
    return SetAttribute(wszName, mu::DoubleToString(dValue));
}

bool CEasyXMLNode::SetAttributeBool(const wchar_t* wszName, bool bValue)
{
    return SetAttribute(wszName, mu::BoolToString(bValue));
}
