#ifndef ZOR_MU_STRINGS_MAP_H
#define ZOR_MU_STRINGS_MAP_H

#include <map>
#include <string>
#include <string_view>

/// Texts that came with a request, by their names. Reading adds pairs; a name that is already in
/// the map keeps its value.
class CBasicStringsMap : public std::map<std::string, std::string>
{
public:
    /// Adds the cookies of a Cookie header's value (RFC 6265, section 4.2): pairs of name and value
    /// between semicolons, with the white space around each removed. Values stay as they are
    /// otherwise, quotes included. A piece without "=" or without a name is skipped. Of two cookies
    /// with a name the first counts, which is the one that clients send for the longer path.
    void FromCookieHeader(const char* szHeader, int iLength);

    // False, with the value as it was, where there is no such name.

    /// Reads a number as ParseInt32() does.
    bool GetParamInt(const char* szName, int& iValue) const;
    /// True is what StringToBool() takes for it, and the "1" and "on" that pages send.
    bool GetParamBool(const char* szName, bool& bValue) const;

protected:
    /// Adds the pairs of a text; the first "=" of a piece ends its name. Names and values go
    /// through pEdit; a pair without a name is skipped.
    void AddPairs(std::string_view svText, char cSeparator, void (*pEdit)(std::string&));
};

#endif
