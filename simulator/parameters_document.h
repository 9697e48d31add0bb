#ifndef ZOR_SIMULATOR_PARAMETERS_DOCUMENT_H
#define ZOR_SIMULATOR_PARAMETERS_DOCUMENT_H

#include <string>
#include <vector>

/// The device parameters that the recorder sends.
struct SParametersDocument
{
    std::string m_strText;                     ///< XML in UTF-8, without a byte-order mark
    std::vector<std::string> m_vecDiagnostics; ///< the names that it declares, in UTF-8
};

/// Loads a file, or the built-in document if the path is empty. Returns what is wrong with it,
/// empty on success.
std::string LoadParametersDocument(const std::string& strPath, SParametersDocument& document);

#endif
