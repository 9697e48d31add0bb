#ifndef ZOR_CONSOLE_PIPE_MESSAGES_H
#define ZOR_CONSOLE_PIPE_MESSAGES_H

#include "mu/memory_block.h"
#include "xml/easy_xml.h"

extern CMemBlockPtr g_mbReceiveBuffer; ///< the last payload; it only grows
extern CEasyXML g_exmlParams;          ///< the device parameters that arrived last

/// Receives one message, with one read for the header and one for the payload, and handles it.
/// One that arrives in pieces is dropped. Returns what the last read did, 0 at the end of file.
int ReadZORInput(int fd);

#endif
