#ifndef ZOR_FUZZ_SUPPORT_LASTING_RECORDER_H
#define ZOR_FUZZ_SUPPORT_LASTING_RECORDER_H

#include "logging/log_recorder.h"

/// A recorder of messages that lives as long as its scope.
class CLastingRecorder final : public CLogRecorder
{
public:
    int AddRef() override { return 1; }
    int Release() override { return 1; }
};

#endif
