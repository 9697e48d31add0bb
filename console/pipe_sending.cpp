#include "console/pipe_sending.h"

#include <cstdint>

#include <unistd.h>

#include "console/pipe_protocol.h"

int SendStructuredData(int fd, unsigned long type, unsigned long length, unsigned long argument,
                       const void* payload)
{
    const SPipeMessageHeader header{static_cast<std::uint32_t>(type),
                                    static_cast<std::uint32_t>(argument),
                                    static_cast<std::uint32_t>(length)};
    if (::write(fd, &header, sizeof(header)) != static_cast<ssize_t>(sizeof(header)))
    {
        return 0;
    }
    if (length == 0)
    {
        return 1;
    }
    return ::write(fd, payload, length) == static_cast<ssize_t>(length) ? 1 : 0;
}
