#ifndef ZOR_SIMULATOR_PARAMETERS_DOCUMENT_H
#define ZOR_SIMULATOR_PARAMETERS_DOCUMENT_H

#include <string>
#include <vector>

#include "simulator/recorder_configuration.h"

/// The device parameters that the recorder sends.
struct SParametersDocument
{
    std::string m_strText;                   ///< XML in UTF-8, without a byte-order mark
    std::vector<std::string> m_vDiagnostics; ///< the names that it declares, in UTF-8
};

/// Loads a file, as it is, or the built-in document if the path is empty. The latter shows the
/// values of a configuration, if one is given, but no password and no key. Returns what is wrong
/// with the document, empty on success.
std::string LoadParametersDocument(const std::string& strPath, SParametersDocument& document,
                                   const CRecorderConfiguration* pConfiguration = nullptr);

#endif
