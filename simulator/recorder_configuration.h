#ifndef ZOR_SIMULATOR_RECORDER_CONFIGURATION_H
#define ZOR_SIMULATOR_RECORDER_CONFIGURATION_H

#include <string>

#include "config/media_recorder_configuration.h"
#include "logging/logging_parameters.h"

/// What the recorder keeps between its runs.
struct SRecorderConfiguration
{
    CMediaRecorderConfiguration m_recorder;
    SLoggingParameters m_logging;
};

/// Loads the configuration from a file, or the default one if the file is missing, gives it a root
/// directory unless strRoot is empty, and saves it. Without a path nothing is loaded or saved. Both
/// texts are UTF-8. Returns what stands in the way, empty on success.
std::string PrepareConfiguration(const std::string& strPath, const std::string& strRoot,
                                 SRecorderConfiguration& configuration);

#endif
