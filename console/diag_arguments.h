#ifndef ZOR_CONSOLE_DIAG_ARGUMENTS_H
#define ZOR_CONSOLE_DIAG_ARGUMENTS_H

#include <chrono>
#include <optional>
#include <string>

#include "console/diag_exit.h"

enum class EDiagCommand
{
    List,
    Show,
    Log,
    Parameters,
    Watch,
};

struct SDiagArguments
{
    EDiagCommand m_eCommand = EDiagCommand::List;
    std::string m_strDiagnostic; ///< number or name, of Show and Watch
    std::chrono::milliseconds m_timeout{5000};
    std::chrono::milliseconds m_wait{0};
    std::chrono::milliseconds m_every{1000};
    unsigned int m_uCount = 0; ///< 0: no limit
    bool m_bJson = false;
    bool m_bRaw = false;
};

/// Reads the command line. Returns the exit code if that is all there is to do: the help or the
/// version was asked for, or a complaint has been printed.
std::optional<EDiagExit> ParseDiagArguments(int argc, char* argv[], SDiagArguments& arguments);

#endif
