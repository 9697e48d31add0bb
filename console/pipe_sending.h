#ifndef ZOR_CONSOLE_PIPE_SENDING_H
#define ZOR_CONSOLE_PIPE_SENDING_H

/// Sends one message. Returns non-zero if header and payload went out, each in one write.
int SendStructuredData(int fd, unsigned long type, unsigned long length, unsigned long argument,
                       const void* payload);

#endif
