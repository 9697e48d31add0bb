#ifndef ZOR_TESTS_SIMULATOR_PAGE_LOG_H
#define ZOR_TESTS_SIMULATOR_PAGE_LOG_H

#include "logging/log_recorder.h"

/// A log that lives as long as its scope and keeps every severity.
class CPageLog final : public CLogRecorder
{
public:
    CPageLog() { SetLowestLogSeverity(Status); }
    int AddRef() override { return 1; }
    int Release() override { return 1; }
};

#endif
