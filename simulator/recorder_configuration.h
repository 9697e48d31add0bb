#ifndef ZOR_SIMULATOR_RECORDER_CONFIGURATION_H
#define ZOR_SIMULATOR_RECORDER_CONFIGURATION_H

#include <string>
#include <vector>

#include "config/media_recorder_configuration.h"
#include "logging/logging_parameters.h"
#include "xml/element_tree.h"

/// What the recorder keeps between its runs: the document "zor:RecorderConfiguration". What else
/// stands in there, and each value that nobody changes, stays as it is. Texts are UTF-8; errors are
/// texts too, empty where nothing stands in the way.
class CRecorderConfiguration
{
public:
    CRecorderConfiguration();

    /// Begins with the file's values. A file that is missing gives the defaults, to be saved. One
    /// that is not the recorder's is an error. Adds a line for each value that has no meaning, with
    /// what stands in for it.
    std::string Load(const std::string& strPath, std::vector<std::string>& vNotUnderstood);
    std::string SetRootDirectory(const std::string& strRoot);
    /// Writes the file that was loaded, if there is one and something has changed. See
    /// ReplaceFile().
    std::string Save();

    CMediaRecorderConfiguration m_recorder;
    SLoggingParameters m_logging;

private:
    void WriteInto(CVariablesTree& document);

    std::string m_strPath; // empty: nothing is kept
    CVariablesTree m_document;
    bool m_bChanged = false;
};

#endif
