#ifndef ZOR_SIMULATOR_FRAMES_H
#define ZOR_SIMULATOR_FRAMES_H

#include <cstdint>
#include <string>
#include <string_view>

#include "console/pipe_protocol.h"

/// A message in one piece: header and payload.
std::string MakeFrame(EPipeMessage eType, std::uint32_t dwArgument, std::string_view svPayload);

/// What a frame is, for people: "diagnostic request, index 3". A frame may be cut short.
std::string DescribeFrame(std::string_view svFrame);

/// A frame's header and the head of its payload, in hexadecimal and as text.
std::string DumpFrame(std::string_view svFrame);

#endif
