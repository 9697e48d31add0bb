#ifndef ZOR_CONSOLE_PIPE_PROTOCOL_H
#define ZOR_CONSOLE_PIPE_PROTOCOL_H

#include <cstdint>

// What the operator's programs and the recorder application agree on. docs/protocol.md tells it
// whole.

/// The application creates both pipes. 0: its input, which the console writes; 1: its output,
/// which the console reads.
inline constexpr const char* g_aszPipePaths[2] = {"/tmp/zor_app_in.pipe", "/tmp/zor_app_out.pipe"};

enum EPipeMessage : std::uint32_t
{
    // The console's requests, which have no payload.
    PM_REQUEST_PARAMETERS = 'G',
    PM_REQUEST_LOG = 'C',
    PM_REQUEST_DIAGNOSTIC = 'd', ///< argument: the diagnostic's index, from 0

    // The application's messages.
    PM_PARAMETERS = 'H',   ///< the device parameters, XML in UTF-8
    PM_TEXT = 'e',         ///< text to be printed as it is
    PM_CIRCULAR_TEXT = 'D' ///< a circular buffer; argument: where its oldest text begins
};

/// Precedes each payload, in the machine's byte order: little-endian.
struct SPipeMessageHeader
{
    std::uint32_t m_dwType; ///< EPipeMessage
    std::uint32_t m_dwArgument;
    std::uint32_t m_dwLength; ///< of the payload, in bytes
};
static_assert(sizeof(SPipeMessageHeader) == 12);

/// The offset at which a message's oldest text begins. A circular text begins at its split; a split
/// at the last byte or beyond (also one that is negative to the application) counts as 0, and so
/// does that of any other message.
constexpr std::uint32_t BeginningOfText(const SPipeMessageHeader& header)
{
    const bool bSplit = header.m_dwType == PM_CIRCULAR_TEXT && header.m_dwLength > 1 &&
                        header.m_dwArgument < header.m_dwLength - 1;
    return bSplit ? header.m_dwArgument : 0;
}

#endif
