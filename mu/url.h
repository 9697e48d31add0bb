#ifndef ZOR_MU_URL_H
#define ZOR_MU_URL_H

#include <string>

#include "mu/strings_map.h"

/// The parameters of a URL's query, by name.
class CURLParamsMap : public CBasicStringsMap
{
public:
    /// Adds the parameters of a query (without its "?"): pieces between "&" whose first "="
    /// separates the name from the value, both read by DecodeURL(). A piece without "=" or without
    /// a name is skipped. A name that is in the map keeps its value.
    void FromBuffer(const char* szQuery, int iLength);

    /// The query that FromBuffer() reads as this map, ordered by name.
    std::string ToString() const;
};

namespace mu
{

// Percent-encoding (RFC 3986, section 2.1), in place and in one pass: what was decoded is not
// decoded again.

/// Reads the form of queries: "+" becomes a space and "%" with two hexadecimal digits the byte
/// they denote. Any other "%" stays.
void DecodeURL(std::string& strText);

/// Encodes every byte but the unreserved ones (letters, digits and "-._~"), so that the text can
/// stand anywhere in a URL. A space becomes "%20".
void EncodeURL(std::string& strText);

/// Encodes those bytes of a whole URL that could end an attribute or a tag of a page: quotes, angle
/// brackets and control characters.
void EncodeURLMarkup(std::string& strURL);

/// Splits a request target (RFC 9112, section 3.2; the origin form or the absolute one) into its
/// path and its parameters, which replace those of the map. The path is decoded ("+" stays), and
/// its "." and ".." segments are resolved after that, so none is left and none leads above the
/// root; it begins with a slash. False, with nothing changed, for any other target and for a path
/// with a NUL.
bool ParseRequestObject(const char* szObject, int iLength, std::string& strPath,
                        CURLParamsMap& mapParams);

} // namespace mu

#endif
